#include "Worksheets.h"

#include "Workbook.h"
#include "platform/sys/Error.h"

#include <algorithm>
#include <cctype>

namespace excel {

namespace {
bool equalsIgnoringAsciiCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](unsigned char x, unsigned char y) {
               return std::tolower(x) == std::tolower(y);
           });
}
}  // namespace

int Worksheets::Count() const { return static_cast<int>(book_->document().worksheetNames().size()); }

Worksheet Worksheets::Item(const std::string& name) const
{
    const auto& names = book_->document().worksheetNames();
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name)
            return Worksheet(book_, i);
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (equalsIgnoringAsciiCase(names[i], name))
            return Worksheet(book_, i);
    }
    throw tb::Error(tb::err::SubscriptOutOfRange,
                    "Subscript out of range: the workbook '" + book_->Name() + "' has no worksheet named '" + name + "'.");
}

Worksheet Worksheets::Item(int index) const
{
    if (index < 1 || index > Count())
        throw tb::Error(tb::err::SubscriptOutOfRange, "Subscript out of range: the workbook '" + book_->Name() +
                                                          "' has no worksheet number " + std::to_string(index) + ".");
    return Worksheet(book_, static_cast<std::size_t>(index - 1));
}

std::vector<Worksheet> Worksheets::all() const
{
    std::vector<Worksheet> out;
    const auto n = book_->document().worksheetNames().size();
    out.reserve(n);
    for (std::size_t i = 0; i < n; ++i)
        out.emplace_back(book_, i);
    return out;
}

}  // namespace excel
