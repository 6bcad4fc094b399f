#include "AllocationCheck.h"

#include "excel/EngineError.h"
#include "excel/biff/Bytes.h"

#include <cstdint>
#include <set>
#include <utility>
#include <vector>

namespace excel::cfb {

namespace {

constexpr std::uint32_t kMaxRegular = 0xFFFFFFFA;  // above: FREE, ENDOFCHAIN, FAT and DIFAT markers
constexpr std::uint32_t kFree = 0xFFFFFFFF;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kNoStream = 0xFFFFFFFF;
constexpr std::uint64_t kMiniSector = 64;

// Compound-file headers and tables are little-endian, as BIFF records are.
using biff::u16;
using biff::u32;

void put32(std::vector<std::byte>& b, std::size_t at, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        b[at + i] = std::byte((v >> (8 * i)) & 0xFF);
}

// The name of a directory entry in UTF-8, as libgsf gives it.
std::string entryName(std::span<const std::byte> e)
{
    std::string s;
    for (std::size_t i = 0; i + 1 < 64; i += 2) {
        const unsigned u = u16(e, i);
        if (u == 0)
            break;
        if (u < 0x80) {
            s += static_cast<char>(u);
        } else if (u < 0x800) {
            s += static_cast<char>(0xC0 | (u >> 6));
            s += static_cast<char>(0x80 | (u & 0x3F));
        } else {
            s += static_cast<char>(0xE0 | (u >> 12));
            s += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
            s += static_cast<char>(0x80 | (u & 0x3F));
        }
    }
    return s;
}

// A name for messages: control characters (\x05SummaryInformation) left out.
std::string shown(const std::string& path)
{
    std::string s;
    for (char c : path)
        if (static_cast<unsigned char>(c) >= 32)
            s += c;
    return s;
}

struct Chain {
    std::uint32_t start;
    std::uint64_t count;  // sectors that hold its bytes
    std::string what;
};

struct StreamEntry {
    Chain chain;
    bool mini;
    std::string path;
    std::size_t entryAt;  // of the directory entry in the file
    std::uint64_t size;
    bool container;       // the root's mini-stream container
};

class Tables {
public:
    // `b`: the file, padded with zeros to a whole last sector; `size`: the
    // file's own size.
    Tables(std::span<const std::byte> b, std::size_t size, const std::string& file) : b_(b), size_(size), file_(file)
    {
    }

    bool readHeader()
    {
        if (b_.size() < 512)
            return false;
        const unsigned shift = u16(b_, 0x1E);
        if (shift != 9 && shift != 12)
            return false;
        sector_ = std::uint64_t{1} << shift;
        sectors_ = b_.size() <= sector_ ? 0 : (b_.size() - sector_) / sector_;
        if (!readFatSectors())
            return false;
        // A last sector cut short counts when the table uses it: it reads
        // as padded with zeros.
        partial_ = size_ < b_.size() && sectors_ > 0 && next(static_cast<std::uint32_t>(sectors_ - 1)) != kFree;
        return true;
    }

    // The allocation table itself lies inside the file.
    void checkTableSectors()
    {
        for (std::uint32_t fs : fatSectors_)
            if (fs >= sectors_)
                throw damaged(file_, "compound file", "allocation table sector " + std::to_string(fs) +
                                                          " lies beyond the end of the file (the file is cut off)");
    }

    // The directory and the mini-stream table follow chains that end inside
    // the file; each stream's chain is followed up to its bytes' end, the
    // end of the file, or damage.
    void checkChains(AllocationFindings& out)
    {
        owner_.assign(sectors_, 0);
        const auto fatNext = [this](std::uint32_t s) { return next(s); };
        const std::uint32_t dirStart = u32(b_, 0x30);
        const auto dir = walkWhole({dirStart, UINT64_MAX, "the directory"}, owner_, fatNext);
        const std::uint32_t miniFatStart = u32(b_, 0x3C);
        if (miniFatStart <= kMaxRegular) {
            for (std::uint32_t s : walkWhole({miniFatStart, u32(b_, 0x40), "the mini-stream table"}, owner_, fatNext)) {
                for (std::uint64_t i = 0; i < sector_ / 4; ++i) {
                    miniFatAt_.push_back(offsetOf(s) + 4 * i);
                    miniFat_.push_back(u32(b_, offsetOf(s) + 4 * i));
                }
            }
        }
        const auto miniNext = [this](std::uint32_t s) { return s < miniFat_.size() ? miniFat_[s] : kEndOfChain; };
        miniOwner_.assign(miniFat_.size(), 0);

        const auto streams = streamEntries(dir);
        // First the sectors that hold each stream's bytes, then what its
        // chain goes on with past them: a tail that runs into another chain
        // is harmless, since nothing reads it (Excel itself leaves such
        // files), but one that runs in a circle is damage.
        std::vector<std::pair<std::vector<std::uint32_t>, std::uint32_t>> walked;  // sectors, chain number
        std::vector<const StreamEntry*> byChain(1, nullptr);
        for (const StreamEntry& e : streams) {
            auto sectors = e.mini ? walk(e, miniOwner_, miniNext) : walk(e, owner_, fatNext);
            walked.emplace_back(std::move(sectors), chains_);
            byChain.resize(chains_ + 1, nullptr);
            byChain[chains_] = &e;
        }
        for (std::size_t i = 0; i < streams.size(); ++i) {
            const StreamEntry& e = streams[i];
            const auto& [sectors, me] = walked[i];
            if (!sectors.empty() && sectors.size() == e.chain.count)
                e.mini ? walkTail(sectors.back(), me, miniOwner_, miniNext)
                       : walkTail(sectors.back(), me, owner_, fatNext);
        }
        for (const auto& [chain, why] : bad_) {
            if (chain < byChain.size() && byChain[chain])
                out.unreadable.emplace(byChain[chain]->path, "the sector chain of " + byChain[chain]->chain.what + " " + why);
        }
        // A damaged container takes every stream in it along.
        for (const StreamEntry& e : streams)
            if (e.container && out.unreadable.count(e.path))
                for (const StreamEntry& m : streams)
                    if (m.mini)
                        out.unreadable.emplace(m.path, m.chain.what + " lies in the mini-stream container, and " +
                                                           out.unreadable.at(e.path));
        mendCutStreams(streams, walked, out);
        if (partial_) {
            if (out.mended.empty())
                padded(out);
            out.repairs.emplace_back("", "the file ends inside its last sector; the bytes missing there read as zeros");
        }
    }

private:
    bool readFatSectors()
    {
        const std::uint32_t fatCount = u32(b_, 0x2C);
        for (std::uint32_t i = 0; i < 109 && fatSectors_.size() < fatCount; ++i)
            fatSectors_.push_back(u32(b_, 0x4C + 4 * i));
        std::uint32_t dif = u32(b_, 0x44);
        for (std::uint32_t hops = 0; fatSectors_.size() < fatCount && dif != kEndOfChain && dif != kFree; ++hops) {
            if (hops > sectors_ || dif >= sectors_ || offsetOf(dif) + sector_ > b_.size())
                return false;  // a broken DIFAT chain: libgsf refuses it itself
            const std::size_t at = offsetOf(dif);
            for (std::uint64_t i = 0; i + 1 < sector_ / 4 && fatSectors_.size() < fatCount; ++i)
                fatSectors_.push_back(u32(b_, at + 4 * i));
            dif = u32(b_, at + sector_ - 4);
        }
        return true;
    }

    std::size_t offsetOf(std::uint32_t s) const { return static_cast<std::size_t>((std::uint64_t{s} + 1) * sector_); }
    // Whole in the file: the last sector may be cut short.
    bool whole(std::uint32_t s) const { return offsetOf(s) + sector_ <= b_.size(); }

    // The entry of sector s in the allocation table; ENDOFCHAIN where the
    // table does not reach (libgsf reports such a chain as broken).
    std::uint32_t next(std::uint32_t s) const
    {
        const std::uint64_t perSector = sector_ / 4;
        const std::uint64_t k = s / perSector;
        if (k >= fatSectors_.size() || fatSectors_[k] >= sectors_ || !whole(fatSectors_[k]))
            return kEndOfChain;
        return u32(b_, offsetOf(fatSectors_[k]) + 4 * (s % perSector));
    }
    // Whether the allocation table has an entry for sector s in the file.
    bool inTable(std::uint32_t s) const
    {
        const std::uint64_t k = s / (sector_ / 4);
        return k < fatSectors_.size() && fatSectors_[k] < sectors_;
    }
    std::size_t fatEntryAt(std::uint32_t s) const
    {
        const std::uint64_t perSector = sector_ / 4;
        return offsetOf(fatSectors_[s / perSector]) + 4 * (s % perSector);
    }

    // The streams of the directory with their paths; the directory's tree
    // is walked from the root, each entry once.
    std::vector<StreamEntry> streamEntries(const std::vector<std::uint32_t>& dir)
    {
        std::vector<std::size_t> entries;
        for (std::uint32_t ds : dir)
            for (std::uint64_t off = 0; off + 128 <= sector_ && offsetOf(ds) + off + 128 <= b_.size(); off += 128)
                entries.push_back(offsetOf(ds) + off);
        std::vector<StreamEntry> out;
        if (entries.empty())
            return out;
        const std::uint32_t cutoff = u32(b_, 0x38);
        std::set<std::uint32_t> seen;
        std::vector<std::pair<std::uint32_t, std::string>> todo;  // entry, its folder's path
        const auto add = [&](std::uint32_t id, const std::string& folder) {
            if (id < entries.size() && seen.insert(id).second)
                todo.emplace_back(id, folder);
        };
        add(0, "");
        while (!todo.empty()) {
            const auto [id, folder] = todo.back();
            todo.pop_back();
            const auto e = b_.subspan(entries[id], 128);
            const unsigned type = biff::u8(e, 0x42);
            const std::string path = id == 0 ? std::string() : folder + entryName(e);
            if (id != 0) {
                add(u32(e, 0x44), folder);
                add(u32(e, 0x48), folder);
            }
            if (type == 1 || type == 5)
                add(u32(e, 0x4C), id == 0 ? std::string() : path + "/");
            if (type != 2 && type != 5)
                continue;
            const std::uint64_t size = u32(e, 0x78) | (sector_ == 4096 ? std::uint64_t{u32(e, 0x7C)} << 32 : 0);
            const std::uint32_t start = u32(e, 0x74);
            if (size == 0 || start > kMaxRegular)
                continue;
            const bool mini = type == 2 && size < cutoff;
            const std::uint64_t unit = mini ? kMiniSector : sector_;
            const std::string name = type == 5 ? "the mini-stream container" : "the stream '" + shown(path) + "'";
            out.push_back({{start, (size + unit - 1) / unit, name}, mini, type == 5 ? "\x01root" : path, entries[id],
                           size, type == 5});
            if (type == 5)
                containerSize_ = size;
        }
        return out;
    }

    // The directory's and the mini-stream table's chains: they must hold
    // every sector they claim, or nothing can be read.
    template <class Next>
    std::vector<std::uint32_t> walkWhole(const Chain& c, std::vector<std::uint32_t>& owner, Next&& nextOf)
    {
        const std::uint32_t me = ++chains_;
        std::vector<std::uint32_t> chain;
        for (std::uint32_t s = c.start; s <= kMaxRegular && chain.size() < c.count; s = nextOf(s)) {
            if (s >= owner.size())
                break;  // past the table or the file: libgsf reports the chain as broken
            if (owner[s] == me)
                throw damaged(file_, "compound file", "the sector chain of " + c.what + " runs in a circle at sector " +
                                                          std::to_string(s));
            if (owner[s] != 0)
                throw damaged(file_, "compound file", "the sector chain of " + c.what +
                                                          " runs into another chain at sector " + std::to_string(s));
            owner[s] = me;
            chain.push_back(s);
        }
        return chain;
    }

    // Follows a stream's chain for at most its sectors and gives them. Each
    // chain marks the sectors it passes with its own number, so that a
    // sector seen twice is a circle or a crossing, and the walks together
    // stay linear. A crossing makes both chains unreadable.
    template <class Next>
    std::vector<std::uint32_t> walk(const StreamEntry& e, std::vector<std::uint32_t>& owner, Next&& nextOf)
    {
        const std::uint32_t me = ++chains_;
        std::vector<std::uint32_t> chain;
        const std::uint64_t limit = e.mini ? owner.size() : sectors_;
        for (std::uint32_t s = e.chain.start; s <= kMaxRegular && chain.size() < e.chain.count; s = nextOf(s)) {
            if (s >= limit)
                break;  // past the table or the file: read up to here
            if (owner[s] == me) {
                bad_.emplace_back(me, "runs in a circle at sector " + std::to_string(s));
                break;
            }
            if (owner[s] != 0) {
                const std::string why = "runs into another chain at sector " + std::to_string(s);
                bad_.emplace_back(me, why);
                bad_.emplace_back(owner[s], why);
                break;
            }
            owner[s] = me;
            chain.push_back(s);
        }
        return chain;
    }

    // Follows what a chain goes on with after its last needed sector, up to
    // its end or the first sector another chain has taken.
    template <class Next>
    void walkTail(std::uint32_t last, std::uint32_t me, std::vector<std::uint32_t>& owner, Next&& nextOf)
    {
        for (std::uint32_t s = nextOf(last); s <= kMaxRegular && s < owner.size(); s = nextOf(s)) {
            if (owner[s] == me) {
                bad_.emplace_back(me, "runs in a circle at sector " + std::to_string(s));
                return;
            }
            if (owner[s] != 0)
                return;
            owner[s] = me;
        }
    }

    // A stream whose chain stopped short of its bytes at the end of the file
    // keeps the sectors that are there. A big stream left shorter than the
    // mini-stream cutoff cannot say so in its size, and is not read.
    void mendCutStreams(const std::vector<StreamEntry>& streams,
                        const std::vector<std::pair<std::vector<std::uint32_t>, std::uint32_t>>& walked,
                        AllocationFindings& out)
    {
        const std::uint32_t cutoff = u32(b_, 0x38);
        std::uint64_t containerKept = containerSize_;
        std::vector<std::size_t> order;  // the container first: the mini streams depend on what it keeps
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (streams[i].container)
                order.insert(order.begin(), i);
            else
                order.push_back(i);
        }
        for (std::size_t i : order) {
            const StreamEntry& e = streams[i];
            const auto& sectors = walked[i].first;
            if (out.unreadable.count(e.path))
                continue;
            const std::uint64_t unit = e.mini ? kMiniSector : sector_;
            std::uint64_t kept = std::min<std::uint64_t>(e.size, sectors.size() * unit);
            std::size_t keptSectors = sectors.size();
            if (e.mini) {
                // Mini sectors past what the container kept are gone too.
                while (keptSectors > 0 && (std::uint64_t{sectors[keptSectors - 1]} + 1) * kMiniSector > containerKept)
                    --keptSectors;
                kept = std::min<std::uint64_t>(e.size, keptSectors * unit);
            }
            if (kept == e.size)
                continue;
            const std::uint32_t lastKept = keptSectors == 0 ? 0 : sectors[keptSectors - 1];
            if ((!e.mini && !e.container && kept < cutoff) || (!e.mini && keptSectors != 0 && !inTable(lastKept))) {
                out.unreadable.emplace(e.path, "the sector chain of " + e.chain.what +
                                                   " ends early, with too little of it left to read");
                continue;
            }
            if (out.mended.empty())
                padded(out);
            if (keptSectors == 0)
                put32(out.mended, e.entryAt + 0x74, kEndOfChain);
            else if (e.mini)
                put32(out.mended, miniFatAt_[lastKept], kEndOfChain);
            else
                put32(out.mended, fatEntryAt(lastKept), kEndOfChain);
            put32(out.mended, e.entryAt + 0x78, static_cast<std::uint32_t>(kept));
            if (sector_ == 4096)
                put32(out.mended, e.entryAt + 0x7C, static_cast<std::uint32_t>(kept >> 32));
            if (e.container)
                containerKept = kept;
            else
                out.repairs.emplace_back(e.path, "the sector chain of " + e.chain.what +
                                      " ends early (the file is cut off or damaged): " + std::to_string(kept) +
                                      " of its " + std::to_string(e.size) + " bytes are read");
        }
    }

    // The file as it is, with zeros up to a whole last sector.
    void padded(AllocationFindings& out) const { out.mended.assign(b_.begin(), b_.end()); }

    std::span<const std::byte> b_;
    std::size_t size_;
    const std::string& file_;
    std::uint64_t sector_ = 512;
    std::uint64_t sectors_ = 0;
    std::vector<std::uint32_t> fatSectors_;
    std::vector<std::uint32_t> owner_;
    std::vector<std::uint32_t> miniFat_;
    std::vector<std::size_t> miniFatAt_;  // where each mini-stream table entry lies in the file
    std::vector<std::uint32_t> miniOwner_;
    std::vector<std::pair<std::uint32_t, std::string>> bad_;  // chain number, what is wrong
    std::uint64_t containerSize_ = 0;
    bool partial_ = false;  // the file ends inside a sector the table uses
    std::uint32_t chains_ = 0;
};

}  // namespace

AllocationFindings checkAllocationTables(std::span<const std::byte> bytes, const std::string& file)
{
    AllocationFindings out;
    // The checks read whole sectors: a file that ends inside one is read
    // padded with zeros to its end.
    std::vector<std::byte> padded;
    std::span<const std::byte> b = bytes;
    if (bytes.size() >= 512 && (u16(bytes, 0x1E) == 9 || u16(bytes, 0x1E) == 12)) {
        const std::size_t sector = std::size_t{1} << u16(bytes, 0x1E);
        if (bytes.size() % sector != 0) {
            padded.assign(bytes.begin(), bytes.end());
            padded.resize((bytes.size() / sector + 1) * sector);
            b = padded;
        }
    }
    Tables t(b, bytes.size(), file);
    if (!t.readHeader())
        return out;
    t.checkTableSectors();
    t.checkChains(out);
    return out;
}

}  // namespace excel::cfb
