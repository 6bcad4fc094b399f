#include "LinkTable.h"

namespace excel::biff5 {

using biff::u16;
using biff::u8;

namespace {
constexpr std::uint8_t kOwnSheet = 0x03;  // the sheet of this workbook whose name follows
constexpr std::uint8_t kEncoded = 0x01;   // an encoded document name follows
constexpr std::uint16_t kNoSheet = 0xFFFF;

void put16(std::span<std::byte> at, std::uint16_t v)
{
    at[0] = std::byte(v & 0xFF);
    at[1] = std::byte(v >> 8);
}
}  // namespace

std::string externalPrefix(const std::string& fullName, const CodePage& codePage)
{
    const std::string bytes = codePage.fromUtf8(fullName);
    const std::size_t slash = bytes.rfind('/');
    std::string out;
    std::string dir = slash == std::string::npos ? std::string() : bytes.substr(0, slash);
    if (!dir.empty() && dir.front() == '/') {
        out += '\x02';  // the root of the volume
        dir.erase(0, 1);
    }
    for (char c : dir)
        out += c == '/' ? '\x03' : c;
    if (!dir.empty())
        out += '\x03';
    out += '[' + bytes.substr(slash == std::string::npos ? 0 : slash + 1) + ']';
    return out;
}

void LinkTable::add(biff::Bytes body)
{
    std::vector<std::byte> entry(body.begin(), body.end());
    const std::size_t index = entries_.size() + 1;
    if (body.size() >= 2 && u8(body, 1) == kOwnSheet && body.size() >= 2u + u8(body, 0)) {
        const std::string name(reinterpret_cast<const char*>(body.data()) + 2, u8(body, 0));
        for (std::size_t t = 0; t < globals_.sheets.size(); ++t) {
            if (globals_.sheets[t].rawName != name)
                continue;
            if (t != kept_ && !externalOf_.count(t)) {
                entry = external(t);
                externalOf_[t] = index;
            }
            break;
        }
    }
    entries_.push_back(std::move(entry));
}

std::vector<std::byte> LinkTable::external(std::size_t tab) const
{
    const std::string text = sourceLink_ + globals_.sheets[tab].rawName;
    std::vector<std::byte> e;
    // The count covers the whole text, its leading type byte included; only
    // the entries naming a sheet of the workbook itself (0x03) leave it out.
    const std::size_t n = std::min<std::size_t>(text.size(), 254);  // an 8-bit count
    e.push_back(std::byte(static_cast<std::uint8_t>(n + 1)));
    e.push_back(std::byte(kEncoded));
    for (std::size_t i = 0; i < n; ++i)
        e.push_back(std::byte(static_cast<unsigned char>(text[i])));
    return e;
}

std::size_t LinkTable::entryFor(std::size_t tab)
{
    if (auto it = externalOf_.find(tab); it != externalOf_.end())
        return it->second;
    entries_.push_back(external(tab));
    ++added_;
    externalOf_[tab] = entries_.size();
    return entries_.size();
}

void LinkTable::rewrite(SheetRef ref)
{
    if (ref.externSheet() >= 0)
        return;  // already another file's
    const std::uint16_t first = ref.firstTab(), last = ref.lastTab();
    if (first == kNoSheet || first >= globals_.sheets.size() || last >= globals_.sheets.size())
        return;
    if (first == kept_ && last == kept_) {
        put16(ref.tabs.subspan(0, 2), 0);
        put16(ref.tabs.subspan(2, 2), 0);
        return;
    }
    // A range of several sheets can name only one in another file: its first
    // sheet other than the kept one.
    const std::size_t tab = first != kept_ ? first : last;
    if (entryFor(tab) > 0x7FFF)
        return;
    put16(ref.ixals, static_cast<std::uint16_t>(entryFor(tab)));
}

}  // namespace excel::biff5
