#include "OutputPackage.h"

#include "Doctype.h"
#include "excel/zip/ZipWriter.h"
#include "platform/sys/Error.h"
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
    // No part leaves with a document type declaration (Doctype.h). A part's
    // start tells; the whole is read only when the start is all prolog.
    if (mayBeXml(name) && prologOf(entry) == Prolog::Doctype) {
        addText(name, source_->read(entry.name));  // read without it, and reported
        return;
    }
    parts_.push_back({std::move(name), std::nullopt, &entry});
}

Prolog OutputPackage::prologOf(const zip::Entry& entry) const
{
    try {
        Prolog p = scanProlog(source_->zip().readPrefix(entry, kPrologLook));
        if (p == Prolog::Unknown && entry.size > kPrologLook)
            p = scanProlog(source_->zip().read(entry));
        return p;
    } catch (const tb::Error&) {
        // Not readable as text here (a method libzip cannot inflate): it is
        // copied as it is stored, as it always was, and no XML reader reads it.
        return Prolog::Clean;
    }
}

bool OutputPackage::mayBeXml(const std::string& name) const
{
    const auto dot = name.rfind('.');
    const std::string ext = dot == std::string::npos ? std::string() : tb::foldAscii(name.substr(dot + 1));
    if (ext == "xml" || ext == "rels" || ext == "vml")
        return true;
    const std::string type = source_->contentTypes().typeOf(name);
    return type.find("xml") != std::string::npos;
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
