#pragma once
// Small BIFF8 workbooks built in memory for the engine tests: the records a
// test needs and nothing else, wrapped in a compound file by the engine's own
// writer (itself tested against libgsf's reader in cfb_compound_file_test).

#include "excel/Document.h"
#include "excel/biff/Bytes.h"
#include "excel/cfb/CompoundFile.h"
#include "platform/sys/ByteSink.h"
#include "platform/sys/Error.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace biff_fixture {

using excel::biff::push16;
using excel::biff::push32;
using excel::biff::push8;
using Body = std::vector<std::byte>;

inline void record(std::vector<std::byte>& s, std::uint16_t type, const Body& body)
{
    push16(s, type);
    push16(s, static_cast<std::uint16_t>(body.size()));
    s.insert(s.end(), body.begin(), body.end());
}

inline Body bof(std::uint16_t vers, std::uint16_t dt)
{
    Body b;
    push16(b, vers);
    push16(b, dt);
    for (int i = 0; i < 12; ++i)
        push8(b, 0);
    return b;
}

struct Sheet {
    std::u16string name;
    std::uint8_t type = 0;   // BOUNDSHEET8 dt
    std::uint8_t state = 0;  // hidden state
    bool dialog = false;     // WSBOOL.fDialog
    double value = 0;        // one NUMBER in A1
};

// A workbook stream: globals with one BOUNDSHEET8 a sheet, then the sheets.
// `beforeSheets` goes into the globals after the BOF (FILEPASS, for one).
inline std::vector<std::byte> workbookStream(const std::vector<Sheet>& sheets, std::uint16_t vers = 0x0600,
                                             const std::vector<std::pair<std::uint16_t, Body>>& extraGlobals = {})
{
    std::vector<std::byte> s;
    record(s, 0x0809, bof(vers, 0x0005));
    for (const auto& [type, body] : extraGlobals)
        record(s, type, body);
    std::vector<std::size_t> patch;
    for (const Sheet& sh : sheets) {
        Body b;
        push32(b, 0);
        push8(b, sh.state);
        push8(b, sh.type);
        push8(b, static_cast<std::uint8_t>(sh.name.size()));
        bool wide = false;
        for (char16_t c : sh.name)
            wide = wide || c > 0xFF;
        push8(b, wide ? 1 : 0);
        for (char16_t c : sh.name) {
            if (wide)
                push16(b, c);
            else
                push8(b, static_cast<std::uint8_t>(c));
        }
        patch.push_back(s.size() + 4);
        record(s, 0x0085, b);
    }
    record(s, 0x000A, {});
    for (std::size_t i = 0; i < sheets.size(); ++i) {
        excel::biff::put32(s, patch[i], static_cast<std::uint32_t>(s.size()));
        record(s, 0x0809, bof(vers, sheets[i].type == 2 ? 0x0020 : 0x0010));
        Body wsbool;
        push16(wsbool, sheets[i].dialog ? 0x0010 : 0x0000);
        record(s, 0x0081, wsbool);
        Body number;
        push16(number, 0);
        push16(number, 0);
        push16(number, 15);
        std::uint64_t bits;
        std::memcpy(&bits, &sheets[i].value, sizeof bits);
        push32(number, static_cast<std::uint32_t>(bits));
        push32(number, static_cast<std::uint32_t>(bits >> 32));
        record(s, 0x0203, number);
        record(s, 0x000A, {});
    }
    return s;
}

// A compound file holding the given streams at its root.
inline std::shared_ptr<tb::MemorySource> compoundFile(const std::vector<std::pair<std::string, std::vector<std::byte>>>& streams)
{
    excel::cfb::Node root;
    root.storage = true;
    for (const auto& [name, data] : streams) {
        excel::cfb::Node n;
        n.name = name;
        n.data = data;
        root.children.push_back(std::move(n));
    }
    tb::MemorySink sink;
    excel::cfb::writeCompoundFile(root, sink, "fixture");
    return std::make_shared<tb::MemorySource>(std::move(sink.data));
}

inline std::shared_ptr<tb::MemorySource> workbook(const std::vector<Sheet>& sheets)
{
    return compoundFile({{"Workbook", workbookStream(sheets)}});
}

inline std::vector<std::byte> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::byte> out(chars.size());
    std::memcpy(out.data(), chars.data(), chars.size());
    return out;
}

inline std::string data(const std::string& rel) { return std::string(TB_TEST_DATA) + "/xls/" + rel; }

inline std::unique_ptr<excel::Document> open(std::shared_ptr<const tb::ByteSource> bytes,
                                             const std::string& file = "book.xls")
{
    return excel::openDocument(std::move(bytes), file);
}

// A workbook of tests/data/xls, named in errors by its path there.
inline std::unique_ptr<excel::Document> openPath(const std::string& rel)
{
    return open(std::make_shared<tb::MemorySource>(readFile(data(rel))), rel);
}

// The description of the tb::Error `f` throws, and its number; empty when none.
inline std::string errorOf(const std::function<void()>& f, int* number = nullptr)
{
    try {
        f();
    } catch (const tb::Error& e) {
        if (number)
            *number = e.number();
        return e.description();
    }
    return {};
}

inline std::vector<std::byte> saved(const excel::Document& d)
{
    tb::MemorySink sink;
    d.save(sink);
    return std::move(sink.data);
}

}  // namespace biff_fixture
