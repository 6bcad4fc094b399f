#pragma once
// OLE2 compound files [MS-CFB] through libgsf, in a module loaded with the
// first compound file (GsfModule.h). Reading works over bytes that
// are already in memory (the mapped file) without copying them; streams are
// read on demand, so a caller that needs the start of a stream reads only that.
// Writing goes straight to a ByteSink, which is asked at the end to rewrite
// the header.

#include "platform/sys/ByteSink.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace excel::cfb {

using ClassId = std::array<std::uint8_t, 16>;

class Stream;
class Storage;

// A storage of an open compound file: the root or one below it.
class Storage {
public:
    virtual ~Storage() = default;
    // Names of the direct children, in directory order.
    virtual std::vector<std::string> childNames() const = 0;
    virtual bool isStorage(const std::string& name) const = 0;
    // Null when there is no stream of that name; throws tb::Error naming the
    // file and the stream when its sector chain is damaged.
    virtual std::unique_ptr<Stream> openStream(const std::string& name) const = 0;
    // Null when there is no storage of that name.
    virtual std::unique_ptr<Storage> openStorage(const std::string& name) const = 0;
    virtual ClassId classId() const = 0;
    // What opening the file mended to read it (a stream cut off by the end
    // of the file is read up to there): the stream's path, empty for the
    // file as a whole, and a sentence.
    virtual std::vector<std::pair<std::string, std::string>> repairs() const { return {}; }
};

// One stream, read by ranges. Reads past the end or through a broken sector
// chain throw tb::Error naming the file and the stream.
class Stream {
public:
    virtual ~Stream() = default;
    virtual std::uint64_t size() const = 0;
    // Appends bytes [offset, offset + n) to `out`.
    virtual void read(std::uint64_t offset, std::size_t n, std::vector<std::byte>& out) = 0;
    // Bytes [offset, offset + n) without copying them where the stream's
    // sectors follow one another in the file, as most writers lay them out.
    // Valid while the stream lives and until its next read or view.
    virtual std::span<const std::byte> view(std::uint64_t offset, std::size_t n) = 0;
    // Bytes [offset, offset + n) valid as long as the file is open: in place
    // where the sectors follow one another, else copied into a new buffer at
    // the end of `copies`.
    virtual std::span<const std::byte> lasting(std::uint64_t offset, std::size_t n,
                                               std::deque<std::vector<std::byte>>& copies) = 0;
};

// Opens the compound file held in `bytes`, which must outlive every object
// handed out. Throws tb::Error 1004 naming `file` when it is not a readable
// compound file.
std::unique_ptr<Storage> openCompoundFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file);

// A tree to write: a storage holds streams and storages, in the order given.
struct Node {
    std::string name;
    bool storage = false;
    std::vector<std::byte> data;   // streams
    std::vector<Node> children;    // storages
    ClassId classId{};             // storages
};

// Reads a whole storage below an open one into a Node (for copying it as it is).
Node readTree(const Storage& parent, const std::string& name, const std::string& file);

// Writes `root` (a storage; its name is ignored) as a compound file with
// 512-byte sectors. Throws tb::Error 1004 naming `file` when libgsf fails,
// and the sink's own error when the sink fails.
void writeCompoundFile(const Node& root, tb::ByteSink& out, const std::string& file);

}  // namespace excel::cfb
