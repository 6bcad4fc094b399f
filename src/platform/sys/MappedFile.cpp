#include "MappedFile.h"

#include "Error.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tb::fs {

std::shared_ptr<const MappedFile> MappedFile::open(const std::filesystem::path& path)
{
    const std::string p = path.string();
    const int fd = ::open(p.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw fileError(errno, "Cannot open the file", p);
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        const int e = errno;
        ::close(fd);
        throw fileError(e, "Cannot read the file", p);
    }
    if (S_ISDIR(st.st_mode)) {
        ::close(fd);
        throw fileError(EISDIR, "Cannot open the file", p);
    }
    if (!S_ISREG(st.st_mode)) {
        ::close(fd);
        throw Error(err::PathFileAccess, "Cannot open the file '" + p + "': it is not an ordinary file.");
    }
    const auto size = static_cast<std::size_t>(st.st_size);
    if (size == 0) {
        ::close(fd);
        return std::shared_ptr<const MappedFile>(new MappedFile(nullptr, 0));
    }
    void* addr = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    const int e = errno;
    ::close(fd);
    if (addr == MAP_FAILED)
        throw fileError(e, "Cannot read the file", p);
    return std::shared_ptr<const MappedFile>(new MappedFile(static_cast<const std::byte*>(addr), size));
}

void MappedFile::release() const
{
    // A private read-only mapping never differs from its file, so dropping
    // its pages loses nothing.
    if (data_ != nullptr)
        ::madvise(const_cast<std::byte*>(data_), size_, MADV_DONTNEED);
}

MappedFile::~MappedFile()
{
    if (data_ != nullptr)
        ::munmap(const_cast<std::byte*>(data_), size_);
}

}  // namespace tb::fs
