#include "OutputPackage.h"

#include "excel/zip/ZipWriter.h"
#include "platform/sys/AsciiCase.h"

namespace excel::ooxml {

void OutputPackage::addText(std::string name, std::string text)
{
    parts_.push_back({std::move(name), std::move(text), nullptr});
}

void OutputPackage::addTextFront(std::string name, std::string text)
{
    parts_.insert(parts_.begin(), OutputPart{std::move(name), std::move(text), nullptr});
}

void OutputPackage::addStored(std::string name, const zip::Entry& entry)
{
    parts_.push_back({std::move(name), std::nullopt, &entry});
}

bool OutputPackage::has(const std::string& name) const
{
    for (const auto& p : parts_) {
        if (tb::foldAscii(p.name) == tb::foldAscii(name))
            return true;
    }
    return false;
}

std::vector<std::string> OutputPackage::names() const
{
    std::vector<std::string> out;
    out.reserve(parts_.size());
    for (const auto& p : parts_)
        out.push_back(p.name);
    return out;
}

void OutputPackage::write(tb::ByteSink& out, const std::string& file) const
{
    zip::ZipWriter w(out, file);
    for (const auto& p : parts_) {
        if (p.text) {
            w.add(p.name, *p.text);
        } else if (p.stored->method == 0 || p.stored->method == 8) {
            w.addRaw(p.name, source_->zip().readRaw(*p.stored));
        } else {
            w.add(p.name, source_->zip().read(*p.stored));
        }
    }
    w.finish();
}

}  // namespace excel::ooxml
