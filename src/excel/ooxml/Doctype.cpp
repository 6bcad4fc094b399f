#include "Doctype.h"

#include "Xml.h"

namespace excel::ooxml {

namespace {

// The prolog's characters as ASCII: UTF-16 parts are read a unit at a time
// (every character of a prolog before the declaration is ASCII).
class PrologText {
public:
    explicit PrologText(std::string_view b)
    {
        if (b.size() >= 2 && static_cast<unsigned char>(b[0]) == 0xFF && static_cast<unsigned char>(b[1]) == 0xFE)
            b_ = b.substr(2), step_ = 2, low_ = 0;
        else if (b.size() >= 2 && static_cast<unsigned char>(b[0]) == 0xFE && static_cast<unsigned char>(b[1]) == 0xFF)
            b_ = b.substr(2), step_ = 2, low_ = 1;
        else if (b.size() >= 3 && b.substr(0, 3) == "\xEF\xBB\xBF")
            b_ = b.substr(3);
        else if (b.size() >= 2 && b[0] == '<' && b[1] == '\0')
            b_ = b, step_ = 2, low_ = 0;
        else if (b.size() >= 2 && b[0] == '\0' && b[1] == '<')
            b_ = b, step_ = 2, low_ = 1;
        else
            b_ = b;
    }

    std::size_t size() const { return b_.size() / step_; }
    char at(std::size_t i) const
    {
        const std::size_t k = i * step_;
        if (step_ == 2 && b_[k + 1 - low_] != '\0')
            return '\x7f';  // not ASCII
        return b_[k + low_];
    }
    bool startsWith(std::size_t i, std::string_view s) const
    {
        if (i + s.size() > size())
            return false;
        for (std::size_t j = 0; j < s.size(); ++j)
            if (at(i + j) != s[j])
                return false;
        return true;
    }
    // The position just past `end` from `i` on, or npos.
    std::size_t after(std::size_t i, std::string_view end) const
    {
        for (; i + end.size() <= size(); ++i)
            if (startsWith(i, end))
                return i + end.size();
        return std::string_view::npos;
    }

private:
    std::string_view b_;
    std::size_t step_ = 1;
    std::size_t low_ = 0;
};

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

Prolog scanProlog(std::string_view xml)
{
    const PrologText t(xml);
    std::size_t i = 0;
    while (i < t.size()) {
        const char c = t.at(i);
        if (isSpace(c)) {
            ++i;
        } else if (t.startsWith(i, "<?")) {
            i = t.after(i + 2, "?>");
        } else if (t.startsWith(i, "<!--")) {
            i = t.after(i + 4, "-->");
        } else if (t.startsWith(i, "<!")) {
            if (t.startsWith(i, "<!DOCTYPE"))
                return Prolog::Doctype;
            return i + 9 > t.size() ? Prolog::Unknown : Prolog::Clean;
        } else if (c == '<' && i + 1 == t.size()) {
            return Prolog::Unknown;
        } else {
            return Prolog::Clean;  // the root element, or text no parser takes
        }
        if (i == std::string_view::npos)
            return Prolog::Unknown;
    }
    return Prolog::Unknown;
}

std::string withoutDoctype(std::string_view xml, const std::string& file, const std::string& part)
{
    // parseXml leaves the declaration out of the tree; pugixml expands none
    // but the five predefined entities and character references.
    auto doc = parseXml(xml, file, part);
    return serializeXml(*doc);
}

std::string doctypeRepair(const std::string& part)
{
    return "the part '" + part + "' holds a document type declaration (DTD), which a workbook may not; "
           "it is read and written without it, and no entity it declares is expanded";
}

}  // namespace excel::ooxml
