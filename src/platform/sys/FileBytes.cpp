#include "FileBytes.h"

#include "Error.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tb::fs {

namespace {

// Up to this size a file is read with one read(): mapping it, faulting its
// pages in and unmapping it costs more than copying it.
constexpr std::size_t kReadWholeUpTo = 256 * 1024;

class MappedFile final : public ByteSource {
public:
    MappedFile(const std::byte* data, std::size_t size) : data_(data), size_(size) {}
    ~MappedFile() override { ::munmap(const_cast<std::byte*>(data_), size_); }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::span<const std::byte> bytes() const override { return {data_, size_}; }
    // A private read-only mapping never differs from its file, so dropping
    // its pages loses nothing: the file's pages stay in the page cache, and
    // touching them again costs a minor fault, not a disk read.
    void release() const override { ::madvise(const_cast<std::byte*>(data_), size_, MADV_DONTNEED); }

private:
    const std::byte* data_;
    std::size_t size_;
};

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { ::close(fd_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// The file's bytes as read now; a file that shrank meanwhile gives fewer.
std::shared_ptr<const ByteSource> readWhole(int fd, std::size_t size, const std::string& p)
{
    std::vector<std::byte> data(size);
    std::size_t got = 0;
    while (got < size) {
        const ssize_t n = ::read(fd, data.data() + got, size - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            throw fileError(errno, "Cannot read the file", p);
        if (n == 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    data.resize(got);
    return std::make_shared<const MemorySource>(std::move(data));
}

}  // namespace

std::shared_ptr<const ByteSource> openFileBytes(const std::filesystem::path& path)
{
    const std::string p = path.string();
    // Without O_NONBLOCK, opening a pipe would wait for a writer before the
    // check below could refuse it; on an ordinary file the flag does nothing.
    const int raw = ::open(p.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (raw < 0)
        throw fileError(errno, "Cannot open the file", p);
    const Descriptor fd(raw);
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0)
        throw fileError(errno, "Cannot read the file", p);
    if (S_ISDIR(st.st_mode))
        throw fileError(EISDIR, "Cannot open the file", p);
    if (!S_ISREG(st.st_mode))
        throw Error(err::PathFileAccess, "Cannot open the file '" + p + "': it is not an ordinary file.");
    const auto size = static_cast<std::size_t>(st.st_size);
    if (size <= kReadWholeUpTo)
        return readWhole(fd.get(), size, p);
    void* addr = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd.get(), 0);
    if (addr == MAP_FAILED)
        throw fileError(errno, "Cannot read the file", p);
    return std::make_shared<const MappedFile>(static_cast<const std::byte*>(addr), size);
}

}  // namespace tb::fs
