#include "AllocationCheck.h"

#include "excel/EngineError.h"
#include "excel/biff/Bytes.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace excel::cfb {

namespace {

constexpr std::uint32_t kMaxRegular = 0xFFFFFFFA;  // above: FREE, ENDOFCHAIN, FAT and DIFAT markers
constexpr std::uint32_t kFree = 0xFFFFFFFF;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;

// Compound-file headers and tables are little-endian, as BIFF records are.
using biff::u16;
using biff::u32;

// The name of a directory entry, for messages: its UTF-16 code units below 128.
std::string entryName(std::span<const std::byte> e)
{
    std::string s;
    for (std::size_t i = 0; i + 1 < 64; i += 2) {
        const unsigned u = u16(e, i);
        if (u == 0)
            break;
        s += u >= 32 && u < 127 ? static_cast<char>(u) : '?';
    }
    return s;
}

struct Chain {
    std::uint32_t start;
    std::uint64_t count;  // sectors that hold its bytes
    std::string what;
};

class Tables {
public:
    Tables(std::span<const std::byte> b, const std::string& file) : b_(b), file_(file) {}

    bool readHeader()
    {
        if (b_.size() < 512)
            return false;
        const unsigned shift = u16(b_, 0x1E);
        if (shift != 9 && shift != 12)
            return false;
        sector_ = std::uint64_t{1} << shift;
        sectors_ = b_.size() <= sector_ ? 0 : (b_.size() - sector_) / sector_;  // whole ones
        return readFatSectors();
    }

    // Every sector the table marks as used lies whole inside the file.
    void checkAllocatedSectors()
    {
        for (std::size_t k = 0; k < fatSectors_.size(); ++k) {
            const std::uint32_t fs = fatSectors_[k];
            if (fs >= sectors_)
                cutOff("allocation table sector " + std::to_string(fs));
            const std::size_t at = offsetOf(fs);
            for (std::uint64_t i = 0; i < sector_ / 4; ++i) {
                const std::uint64_t index = k * (sector_ / 4) + i;
                if (u32(b_, at + 4 * i) != kFree && index >= sectors_)
                    cutOff("sector " + std::to_string(index));
            }
        }
    }

    // The directory, the mini-stream table and every stream follow chains
    // that end; no sector a stream's bytes come from belongs to two chains.
    void checkChains()
    {
        owner_.assign(sectors_, 0);
        const auto fatNext = [this](std::uint32_t s) { return next(s); };
        const std::uint32_t dirStart = u32(b_, 0x30);
        const auto dir = walk({dirStart, UINT64_MAX, "the directory"}, owner_, fatNext);
        std::vector<std::uint32_t> miniFat;
        const std::uint32_t miniFatStart = u32(b_, 0x3C);
        if (miniFatStart <= kMaxRegular) {
            for (std::uint32_t s : walk({miniFatStart, u32(b_, 0x40), "the mini-stream table"}, owner_, fatNext)) {
                for (std::uint64_t i = 0; i < sector_ / 4; ++i)
                    miniFat.push_back(u32(b_, offsetOf(s) + 4 * i));
            }
        }
        const auto miniNext = [&miniFat](std::uint32_t s) { return s < miniFat.size() ? miniFat[s] : kEndOfChain; };
        std::vector<std::uint32_t> miniOwner(miniFat.size(), 0);

        // First the sectors that hold each stream's bytes, then what its chain
        // goes on with past them: a tail that runs into another chain is
        // harmless, since nothing reads it (Excel itself leaves such files),
        // but one that runs in a circle is damage.
        std::vector<std::pair<Chain, bool>> streams;  // bool: in the mini stream
        const std::uint32_t cutoff = u32(b_, 0x38);
        for (std::uint32_t ds : dir) {
            for (std::uint64_t off = 0; off + 128 <= sector_; off += 128) {
                const auto e = b_.subspan(offsetOf(ds) + off, 128);
                const unsigned type = biff::u8(e, 0x42);
                if (type != 2 && type != 5)  // streams and the root's mini-stream container
                    continue;
                const std::uint64_t size = u32(e, 0x78) | (sector_ == 4096 ? std::uint64_t{u32(e, 0x7C)} << 32 : 0);
                const std::uint32_t start = u32(e, 0x74);
                if (size == 0 || start > kMaxRegular)
                    continue;
                const bool mini = type == 2 && size < cutoff;
                const std::uint64_t unit = mini ? 64 : sector_;
                streams.push_back({{start, (size + unit - 1) / unit, "the stream '" + entryName(e) + "'"}, mini});
            }
        }
        std::vector<std::pair<std::vector<std::uint32_t>, std::uint32_t>> walked;  // sectors, chain number
        for (const auto& [c, mini] : streams) {
            auto sectors = mini ? walk(c, miniOwner, miniNext) : walk(c, owner_, fatNext);
            walked.emplace_back(std::move(sectors), chains_);
        }
        for (std::size_t i = 0; i < streams.size(); ++i) {
            const auto& [c, mini] = streams[i];
            const auto& [sectors, me] = walked[i];
            if (!sectors.empty() && sectors.size() == c.count)
                mini ? walkTail(sectors.back(), me, c.what, miniOwner, miniNext)
                     : walkTail(sectors.back(), me, c.what, owner_, fatNext);
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
            if (hops > sectors_ || dif >= sectors_)
                return false;  // a broken DIFAT chain: libgsf refuses it itself
            const std::size_t at = offsetOf(dif);
            for (std::uint64_t i = 0; i + 1 < sector_ / 4 && fatSectors_.size() < fatCount; ++i)
                fatSectors_.push_back(u32(b_, at + 4 * i));
            dif = u32(b_, at + sector_ - 4);
        }
        return true;
    }

    std::size_t offsetOf(std::uint32_t s) const { return static_cast<std::size_t>((std::uint64_t{s} + 1) * sector_); }

    // The entry of sector s in the allocation table; ENDOFCHAIN where the
    // table does not reach (libgsf reports such a chain as broken).
    std::uint32_t next(std::uint32_t s) const
    {
        const std::uint64_t perSector = sector_ / 4;
        const std::uint64_t k = s / perSector;
        if (k >= fatSectors_.size() || fatSectors_[k] >= sectors_)
            return kEndOfChain;
        return u32(b_, offsetOf(fatSectors_[k]) + 4 * (s % perSector));
    }

    // Follows a chain for at most `count` sectors and gives them. Each chain
    // marks the sectors it passes with its own number, so that a sector seen
    // twice is a circle or a crossing, and the walks together stay linear.
    template <class Next>
    std::vector<std::uint32_t> walk(const Chain& c, std::vector<std::uint32_t>& owner, Next&& nextOf)
    {
        const std::uint32_t me = ++chains_;
        std::vector<std::uint32_t> chain;
        for (std::uint32_t s = c.start; s <= kMaxRegular && chain.size() < c.count; s = nextOf(s)) {
            if (s >= owner.size())
                break;  // past the table or the file: libgsf reports the chain as broken
            if (owner[s] == me)
                damagedChain(c.what, "runs in a circle at sector " + std::to_string(s));
            if (owner[s] != 0)
                damagedChain(c.what, "runs into another chain at sector " + std::to_string(s));
            owner[s] = me;
            chain.push_back(s);
        }
        return chain;
    }

    // Follows what a chain goes on with after its last needed sector, up to
    // its end or the first sector another chain has taken.
    template <class Next>
    void walkTail(std::uint32_t last, std::uint32_t me, const std::string& what, std::vector<std::uint32_t>& owner,
                  Next&& nextOf)
    {
        for (std::uint32_t s = nextOf(last); s <= kMaxRegular && s < owner.size(); s = nextOf(s)) {
            if (owner[s] == me)
                damagedChain(what, "runs in a circle at sector " + std::to_string(s));
            if (owner[s] != 0)
                return;
            owner[s] = me;
        }
    }

    [[noreturn]] void cutOff(const std::string& what)
    {
        throw damaged(file_, "compound file", what + " lies beyond the end of the file (the file is cut off)");
    }

    [[noreturn]] void damagedChain(const std::string& what, const std::string& how)
    {
        throw damaged(file_, "compound file", "the sector chain of " + what + " " + how);
    }

    std::span<const std::byte> b_;
    const std::string& file_;
    std::uint64_t sector_ = 512;
    std::uint64_t sectors_ = 0;
    std::vector<std::uint32_t> fatSectors_;
    std::vector<std::uint32_t> owner_;
    std::uint32_t chains_ = 0;
};

}  // namespace

void checkAllocationTables(std::span<const std::byte> bytes, const std::string& file)
{
    Tables t(bytes, file);
    if (!t.readHeader())
        return;
    t.checkAllocatedSectors();
    t.checkChains();
}

}  // namespace excel::cfb
