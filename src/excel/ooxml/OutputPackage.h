#pragma once
// The parts of a package to be written: each either new text or an entry of
// a source archive copied as it is stored. Only this class touches the zip
// writer.

#include "Doctype.h"
#include "SourcePackage.h"
#include "platform/sys/ByteSink.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace excel::ooxml {

struct OutputPart {
    std::string name;
    std::optional<std::string> text;      // new content
    const zip::Entry* stored = nullptr;   // or the source's entry, copied as stored
};

class OutputPackage {
public:
    explicit OutputPackage(std::shared_ptr<const SourcePackage> source) : source_(std::move(source)) {}

    void addText(std::string name, std::string text);
    void addTextFront(std::string name, std::string text);
    void addStored(std::string name, const zip::Entry& entry);
    bool has(const std::string& name) const;
    std::vector<std::string> names() const;

    // `file` names the package in errors.
    void write(tb::ByteSink& out, const std::string& file) const;

private:
    static constexpr std::size_t kPrologLook = 1024;
    bool mayBeXml(const std::string& name) const;
    Prolog prologOf(const zip::Entry& entry) const;

    std::shared_ptr<const SourcePackage> source_;  // keeps the stored entries' bytes alive
    std::vector<OutputPart> parts_;
};

}  // namespace excel::ooxml
