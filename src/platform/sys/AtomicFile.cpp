#include "AtomicFile.h"

#include "Error.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

namespace tb::fs {

namespace {

// Read once: reading the umask means setting it.
mode_t fileMode()
{
    static const mode_t mode = 0644 & ~[] {
        const mode_t m = ::umask(0);
        ::umask(m);
        return m;
    }();
    return mode;
}

std::filesystem::path folderOf(const std::filesystem::path& target)
{
    const std::filesystem::path folder = target.parent_path();
    return folder.empty() ? "." : folder;
}

std::string hiddenPrefix(const std::filesystem::path& target)
{
    return (folderOf(target) / ("." + target.filename().string().substr(0, 200) + ".tmp-")).string();
}

// Gives the open unnamed file `fd` the name `name`; false with errno set
// when it cannot (EEXIST when the name is taken).
bool linkUnnamed(int fd, const std::filesystem::path& name)
{
    const std::string self = "/proc/self/fd/" + std::to_string(fd);
    if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0)
        return true;
    if (errno != ENOENT)
        return false;
    // Without /proc, linking the descriptor itself needs CAP_DAC_READ_SEARCH.
    return ::linkat(fd, "", AT_FDCWD, name.c_str(), AT_EMPTY_PATH) == 0;
}

}  // namespace

AtomicFile::AtomicFile(std::filesystem::path target) : target_(std::move(target))
{
    const std::filesystem::path folder = folderOf(target_);
    struct stat st {};
    if (::stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        throw Error(err::PathNotFound,
                    "Cannot write the file '" + target_.string() + "': its folder '" + folder.string() + "' does not exist.");
    fd_ = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0644);  // the umask applies
    if (fd_ >= 0)
        return;
    // EOPNOTSUPP: a file system without unnamed files; EISDIR: a kernel
    // that does not know O_TMPFILE and took it for O_DIRECTORY.
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
        throw fileError(errno, "Cannot write the file", target_.string());
    std::string templ = hiddenPrefix(target_) + "XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    fd_ = ::mkostemp(buf.data(), O_CLOEXEC);
    if (fd_ < 0)
        throw fileError(errno, "Cannot write the file", target_.string());
    temp_ = buf.data();
    ::fchmod(fd_, fileMode());
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
    auto fail = [this](int e, const char* what) {
        discard();
        throw fileError(e, what, target_.string());
    };
    if (::fsync(fd_) != 0 && errno != EINVAL)
        fail(errno, "Cannot write the file");
    struct stat st {};
    const bool exists = ::lstat(target_.c_str(), &st) == 0;  // a dangling link is a name taken too
    if (exists && ::stat(target_.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        fail(EISDIR, "Cannot replace the file");
    if (temp_.empty()) {
        // A new file takes its name at once; one that replaces a file is
        // named beside it first, so that the rename below swaps the two.
        if (!exists) {
            if (linkUnnamed(fd_, target_)) {
                ::close(fd_);
                fd_ = -1;
                committed_ = true;
                return;
            }
            if (errno != EEXIST)
                fail(errno, "Cannot write the file");
        }
        std::random_device random;
        for (int attempt = 0; temp_.empty(); ++attempt) {
            const std::filesystem::path name = hiddenPrefix(target_) + std::to_string(random() % 1000000);
            if (linkUnnamed(fd_, name))
                temp_ = name;
            else if (errno != EEXIST || attempt == 100)
                fail(errno, "Cannot write the file");
        }
    }
    if (::close(fd_) != 0) {
        fd_ = -1;
        fail(errno, "Cannot write the file");
    }
    fd_ = -1;
    if (::rename(temp_.c_str(), target_.c_str()) != 0)
        fail(errno, "Cannot write the file");
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
