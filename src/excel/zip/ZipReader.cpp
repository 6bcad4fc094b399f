#include "ZipReader.h"

#include "ZipError.h"
#include "platform/sys/AsciiCase.h"

#include <libdeflate.h>
#include <zip.h>

#include <algorithm>
#include <limits>
#include <new>

namespace excel::zip {

namespace {

// Budgets against decompression bombs and forged directories. Workbooks
// compress their XML from 5:1 to about 60:1; deflate cannot pass about
// 1000:1, which only a bomb's run of one byte reaches. A large part with a
// ratio past kMaxRatio, a part past kMaxPartSize and a package whose parts
// claim more than kMaxPackageSize in all are refused before anything is
// inflated, so a hostile file costs neither memory nor time.
constexpr std::uint64_t kMaxPartSize = std::uint64_t{1} << 30;
constexpr std::uint64_t kMaxPackageSize = std::uint64_t{4} << 30;
constexpr std::uint64_t kRatioFloor = std::uint64_t{16} << 20;  // smaller parts are never a bomb
constexpr std::uint64_t kMaxRatio = 250;
constexpr std::uint64_t kMaxEntries = 65535;

std::string libzipMessage(int code)
{
    zip_error_t err;
    zip_error_init_with_code(&err, code);
    std::string text = zip_error_strerror(&err);
    zip_error_fini(&err);
    return text;
}

std::string archiveMessage(::zip* za)
{
    return zip_error_strerror(zip_get_error(za));
}

struct FileCloser {
    void operator()(zip_file_t* f) const { zip_fclose(f); }
};

// One decompressor per thread, kept for the thread's life: allocating one
// per part costs more than inflating a small part.
libdeflate_decompressor* threadInflater()
{
    struct Free {
        void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
    };
    thread_local std::unique_ptr<libdeflate_decompressor, Free> inflater(libdeflate_alloc_decompressor());
    return inflater.get();
}

}  // namespace

ZipReader::ZipReader(std::shared_ptr<const tb::ByteSource> bytes, std::string file)
    : bytes_(std::move(bytes)), file_(std::move(file))
{
    const auto span = bytes_->bytes();
    zip_error_t err;
    zip_error_init(&err);
    zip_source_t* src = zip_source_buffer_create(span.data(), span.size(), 0, &err);
    if (src == nullptr) {
        std::string msg = zip_error_strerror(&err);
        zip_error_fini(&err);
        throw zipDamaged(file_, "", msg);
    }
    archive_.reset(zip_open_from_source(src, ZIP_RDONLY, &err));
    if (!archive_) {
        const int code = zip_error_code_zip(&err);
        zip_error_fini(&err);
        zip_source_free(src);
        if (code == ZIP_ER_NOZIP || code == ZIP_ER_INCONS || code == ZIP_ER_EOF)
            throw zipDamaged(file_, "", "the zip archive is incomplete or inconsistent (" + libzipMessage(code) +
                                            "); the file may be truncated");
        throw zipDamaged(file_, "", libzipMessage(code));
    }
    zip_error_fini(&err);

    const zip_int64_t n = zip_get_num_entries(archive_.get(), 0);
    if (n < 0)
        throw zipDamaged(file_, "", archiveMessage(archive_.get()));
    if (static_cast<std::uint64_t>(n) > kMaxEntries)
        throw zipDamaged(file_, "", "the package holds " + std::to_string(n) + " entries, more than the " +
                                        std::to_string(kMaxEntries) + " a workbook may have");
    entries_.reserve(static_cast<std::size_t>(n));
    std::uint64_t claimed = 0;
    for (zip_int64_t i = 0; i < n; ++i) {
        zip_stat_t st;
        zip_stat_init(&st);
        if (zip_stat_index(archive_.get(), static_cast<zip_uint64_t>(i), 0, &st) != 0)
            throw zipDamaged(file_, "", "entry " + std::to_string(i) + ": " + archiveMessage(archive_.get()));
        if (!(st.valid & ZIP_STAT_NAME) || st.name == nullptr)
            throw zipDamaged(file_, "", "entry " + std::to_string(i) + " has no name");
        Entry e;
        e.name = st.name;
        e.index = static_cast<std::uint64_t>(i);
        e.size = st.size;
        e.compressedSize = st.comp_size;
        e.crc = st.crc;
        e.method = static_cast<std::uint16_t>(st.comp_method);
        e.encrypted = (st.valid & ZIP_STAT_ENCRYPTION_METHOD) && st.encryption_method != ZIP_EM_NONE;
        claimed += std::min(e.size, kMaxPackageSize + 1);
        if (claimed > kMaxPackageSize)
            throw zipDamaged(file_, "", "the package's parts would inflate to more than " +
                                            std::to_string(kMaxPackageSize >> 30) + " GiB in all (a zip bomb)");
        byName_.emplace(e.name, entries_.size());
        byFoldedName_.emplace(tb::foldAscii(e.name), entries_.size());
        entries_.push_back(std::move(e));
    }
}

ZipReader::~ZipReader() = default;

void ZipReader::Discard::operator()(::zip* z) const { zip_discard(z); }

const Entry* ZipReader::find(const std::string& name) const
{
    if (auto it = byName_.find(name); it != byName_.end())
        return &entries_[it->second];
    if (auto it = byFoldedName_.find(tb::foldAscii(name)); it != byFoldedName_.end())
        return &entries_[it->second];
    return nullptr;
}

std::string ZipReader::read(const std::string& name) const
{
    const Entry* e = find(name);
    if (e == nullptr)
        throw zipDamaged(file_, name, "the part is missing");
    return read(*e);
}

std::string ZipReader::read(const Entry& e) const
{
    if (e.encrypted)
        throw zipDamaged(file_, e.name, "the entry is encrypted");
    if (e.size > kMaxPartSize)
        throw zipDamaged(file_, e.name, "the entry claims " + std::to_string(e.size) + " bytes, more than a part may hold");
    if (e.size > kRatioFloor && e.size / kMaxRatio > e.compressedSize)
        throw zipDamaged(file_, e.name, "the entry would inflate " + std::to_string(e.compressedSize) + " bytes to " +
                                            std::to_string(e.size) + ", more than " + std::to_string(kMaxRatio) +
                                            " times (a zip bomb)");
    if (e.method == ZIP_CM_DEFLATE)
        return inflate(e);
    const std::lock_guard lock(archiveMutex_);
    std::unique_ptr<zip_file_t, FileCloser> f(zip_fopen_index(archive_.get(), e.index, 0));
    if (!f)
        throw zipDamaged(file_, e.name, archiveMessage(archive_.get()));
    std::string out;
    try {
        out.resize(static_cast<std::size_t>(e.size));
    } catch (const std::bad_alloc&) {
        throw zipDamaged(file_, e.name, "not enough memory for " + std::to_string(e.size) + " bytes");
    }
    std::uint64_t got = 0;
    for (;;) {
        // Reading past the expected size is how libzip reaches its CRC check.
        char probe[1];
        char* dst = got < e.size ? out.data() + got : probe;
        const zip_uint64_t want = got < e.size ? e.size - got : 1;
        const zip_int64_t r = zip_fread(f.get(), dst, want);
        if (r < 0)
            throw zipDamaged(file_, e.name, zip_error_strerror(zip_file_get_error(f.get())));
        if (r == 0)
            break;
        if (got >= e.size)
            throw zipDamaged(file_, e.name, "more data than the directory says (" + std::to_string(e.size) + " bytes)");
        got += static_cast<std::uint64_t>(r);
    }
    if (got != e.size)
        throw zipDamaged(file_, e.name, "expected " + std::to_string(e.size) + " bytes, found " + std::to_string(got));
    return out;
}

std::string ZipReader::inflate(const Entry& e) const
{
    const RawEntry raw = readRaw(e);
    std::string out;
    try {
        out.resize(static_cast<std::size_t>(e.size));
    } catch (const std::bad_alloc&) {
        throw zipDamaged(file_, e.name, "not enough memory for " + std::to_string(e.size) + " bytes");
    }
    libdeflate_decompressor* inflater = threadInflater();
    if (!inflater)
        throw zipDamaged(file_, e.name, "not enough memory to inflate it");
    std::size_t used = 0, produced = 0;
    switch (libdeflate_deflate_decompress_ex(inflater, raw.data.data(), raw.data.size(), out.data(),
                                             out.size(), &used, &produced)) {
    case LIBDEFLATE_SUCCESS: break;
    case LIBDEFLATE_INSUFFICIENT_SPACE:
        throw zipDamaged(file_, e.name, "more data than the directory says (" + std::to_string(e.size) + " bytes)");
    default: throw zipDamaged(file_, e.name, "the compressed data is damaged (not a valid deflate stream)");
    }
    if (produced != e.size)
        throw zipDamaged(file_, e.name, "expected " + std::to_string(e.size) + " bytes, found " + std::to_string(produced));
    if (libdeflate_crc32(0, out.data(), out.size()) != e.crc)
        throw zipDamaged(file_, e.name, "CRC error: the inflated data does not match the checksum stored with it");
    return out;
}

std::string ZipReader::readPrefix(const Entry& e, std::size_t n) const
{
    if (e.encrypted)
        throw zipDamaged(file_, e.name, "the entry is encrypted");
    std::string out(static_cast<std::size_t>(std::min<std::uint64_t>(n, e.size)), '\0');
    const std::lock_guard lock(archiveMutex_);
    std::unique_ptr<zip_file_t, FileCloser> f(zip_fopen_index(archive_.get(), e.index, 0));
    if (!f)
        throw zipDamaged(file_, e.name, archiveMessage(archive_.get()));
    std::size_t got = 0;
    while (got < out.size()) {
        const zip_int64_t r = zip_fread(f.get(), out.data() + got, out.size() - got);
        if (r < 0)
            throw zipDamaged(file_, e.name, zip_error_strerror(zip_file_get_error(f.get())));
        if (r == 0)
            break;
        got += static_cast<std::size_t>(r);
    }
    out.resize(got);
    return out;
}

RawEntry ZipReader::readRaw(const Entry& e) const
{
    if (e.encrypted)
        throw zipDamaged(file_, e.name, "the entry is encrypted");
    if (e.compressedSize > kMaxPartSize)
        throw zipDamaged(file_, e.name, "the entry is larger than a part may be");
    const auto span = bytes_->bytes();
    if (e.compressedSize > span.size())
        throw zipDamaged(file_, e.name, "the entry claims more bytes than the file holds");
    const std::lock_guard lock(archiveMutex_);
    std::unique_ptr<zip_file_t, FileCloser> f(zip_fopen_index(archive_.get(), e.index, ZIP_FL_COMPRESSED));
    if (!f)
        throw zipDamaged(file_, e.name, archiveMessage(archive_.get()));
    RawEntry raw;
    raw.method = e.method;
    raw.crc = e.crc;
    raw.size = e.size;
    raw.data.resize(static_cast<std::size_t>(e.compressedSize));
    std::uint64_t got = 0;
    while (got < e.compressedSize) {
        const zip_int64_t r = zip_fread(f.get(), raw.data.data() + got, e.compressedSize - got);
        if (r < 0)
            throw zipDamaged(file_, e.name, zip_error_strerror(zip_file_get_error(f.get())));
        if (r == 0)
            break;
        got += static_cast<std::uint64_t>(r);
    }
    if (got != e.compressedSize)
        throw zipDamaged(file_, e.name, "expected " + std::to_string(e.compressedSize) + " stored bytes, found " +
                                            std::to_string(got));
    return raw;
}

}  // namespace excel::zip
