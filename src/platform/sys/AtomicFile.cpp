#include "AtomicFile.h"

#include "Error.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace tb::fs {

AtomicFile::AtomicFile(std::filesystem::path target) : target_(std::move(target))
{
    std::filesystem::path folder = target_.parent_path();
    if (folder.empty())
        folder = ".";
    struct stat st {};
    if (::stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        throw Error(err::PathNotFound,
                    "Cannot write the file '" + target_.string() + "': its folder '" + folder.string() + "' does not exist.");
    std::string templ = (folder / ("." + target_.filename().string().substr(0, 200) + ".tmp-XXXXXX")).string();
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    fd_ = ::mkostemp(buf.data(), O_CLOEXEC);
    if (fd_ < 0)
        throw fileError(errno, "Cannot write the file", target_.string());
    temp_ = buf.data();
    ::fchmod(fd_, 0644 & ~[] { mode_t m = ::umask(0); ::umask(m); return m; }());
}

AtomicFile::~AtomicFile()
{
    if (!committed_)
        discard();
}

void AtomicFile::discard() noexcept
{
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
    if (!temp_.empty()) {
        ::unlink(temp_.c_str());
        temp_.clear();
    }
}

void AtomicFile::write(std::span<const std::byte> bytes) { put(bytes, -1); }

void AtomicFile::rewrite(std::uint64_t offset, std::span<const std::byte> bytes)
{
    put(bytes, static_cast<std::int64_t>(offset));
}

void AtomicFile::put(std::span<const std::byte> bytes, std::int64_t offset)
{
    if (fd_ < 0)
        throw Error(err::PathFileAccess, "Cannot write the file '" + target_.string() + "': it is already closed.");
    const std::byte* p = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        const ssize_t n = offset < 0 ? ::write(fd_, p, left) : ::pwrite(fd_, p, left, static_cast<off_t>(offset));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            const int e = errno;
            discard();
            throw fileError(e, "Cannot write the file", target_.string());
        }
        p += n;
        left -= static_cast<std::size_t>(n);
        if (offset >= 0)
            offset += n;
    }
}

void AtomicFile::commit()
{
    if (fd_ < 0)
        throw Error(err::PathFileAccess, "Cannot write the file '" + target_.string() + "': it is already closed.");
    if (::fsync(fd_) != 0 && errno != EINVAL) {
        const int e = errno;
        discard();
        throw fileError(e, "Cannot write the file", target_.string());
    }
    if (::close(fd_) != 0) {
        fd_ = -1;
        const int e = errno;
        discard();
        throw fileError(e, "Cannot write the file", target_.string());
    }
    fd_ = -1;
    struct stat st {};
    if (::stat(target_.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        discard();
        throw fileError(EISDIR, "Cannot replace the file", target_.string());
    }
    if (::rename(temp_.c_str(), target_.c_str()) != 0) {
        const int e = errno;
        discard();
        throw fileError(e, "Cannot write the file", target_.string());
    }
    temp_.clear();
    committed_ = true;
}

void writeFileAtomically(const std::filesystem::path& target, const std::function<void(ByteSink&)>& produce)
{
    AtomicFile file(target);
    produce(file);
    file.commit();
}

}  // namespace tb::fs
