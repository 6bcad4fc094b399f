#include "WorkbookDecryption.h"

#include "Rc4Keys.h"
#include "XorObfuscation.h"
#include "excel/EngineError.h"
#include "excel/biff/Bytes.h"
#include "excel/biff/RecordTypes.h"

#include <algorithm>
#include <variant>

namespace excel::crypto {

namespace {

using biff::u16;
using biff::u32;

constexpr std::size_t kBlock = 1024;  // RC4 re-keys every 1024 bytes of the stream
constexpr int kFilePassScan = 32;     // records looked at for FILEPASS
constexpr std::uint16_t kUsrExcl = 0x0194, kFileLock = 0x0195, kInterfaceHdr = 0x00E1, kRrdInfo = 0x0196,
                        kRrdHead = 0x0138;

// Records left in clear text in an encrypted stream [MS-XLS 2.2.10].
bool inClear(std::uint16_t type)
{
    return type == biff::rt::Bof || type == biff::rt::FilePass || type == kUsrExcl || type == kFileLock ||
           type == kInterfaceHdr || type == kRrdInfo || type == kRrdHead;
}

[[noreturn]] void bad(const std::string& file, std::size_t at, const std::string& what)
{
    throw damaged(file, "Workbook stream, FILEPASS record at offset " + std::to_string(at), what);
}

// What FILEPASS says, with the key a password gave.
struct XorCipher {
    XorArray array;
};
using Cipher = std::variant<XorCipher, Rc4Keys>;

View field(View body, std::size_t at, std::size_t n, const std::string& file, std::size_t record)
{
    if (at + n > body.size())
        bad(file, record, "the record ends inside its encryption header");
    return body.subspan(at, n);
}

Cipher keyFor(View body, std::size_t record, const std::string& file, const PasswordSupply& passwords)
{
    // Excel 95 wrote XOR obfuscation alone, with no type: key and verifier.
    if (body.size() == 4) {
        const std::uint16_t key = u16(body, 0), verifier = u16(body, 2);
        return firstKey<Cipher>(passwords, file, [&](const std::string& p) -> std::optional<Cipher> {
            if (auto a = xorArrayFor(xorPasswordBytes(p), key, verifier))
                return XorCipher{*a};
            return std::nullopt;
        });
    }
    const std::uint16_t type = u16(field(body, 0, 2, file, record), 0);
    if (type == 0) {
        const View xo = field(body, 2, 4, file, record);
        return keyFor(xo, record, file, passwords);
    }
    if (type != 1)
        bad(file, record, "unknown encryption type " + std::to_string(type));
    const View version = field(body, 2, 4, file, record);
    const std::uint16_t major = u16(version, 0), minor = u16(version, 2);
    if (major == 1 && minor == 1) {
        const View salt = field(body, 6, 16, file, record), verifier = field(body, 22, 16, file, record),
                   hash = field(body, 38, 16, file, record);
        return firstKey<Cipher>(passwords, file, [&](const std::string& p) -> std::optional<Cipher> {
            if (auto k = Rc4Keys::md5(p, salt, verifier, hash))
                return *k;
            return std::nullopt;
        });
    }
    if (major >= 2 && major <= 4 && minor == 2) {
        // Flags, header size, the EncryptionHeader, then the verifier [MS-OFFCRYPTO 2.3.5.1].
        const std::uint32_t headerSize = u32(field(body, 10, 4, file, record), 0);
        const View header = field(body, 14, headerSize, file, record);
        if (header.size() < 20)
            bad(file, record, "the encryption header is too short");
        const std::uint32_t keyBits = u32(header, 16);
        const std::size_t v = 14 + headerSize;
        const std::uint32_t saltSize = u32(field(body, v, 4, file, record), 0);
        if (saltSize != 16)
            bad(file, record, "a salt of " + std::to_string(saltSize) + " bytes, expected 16");
        const View salt = field(body, v + 4, 16, file, record), verifier = field(body, v + 20, 16, file, record),
                   hash = field(body, v + 40, 20, file, record);
        return firstKey<Cipher>(passwords, file, [&](const std::string& p) -> std::optional<Cipher> {
            if (auto k = Rc4Keys::cryptoApi(p, salt, keyBits, verifier, hash))
                return *k;
            return std::nullopt;
        });
    }
    throw refused(file, "is encrypted (password to open) with an encryption version " + std::to_string(major) + "." +
                            std::to_string(minor) + " this program does not know.");
}

// RC4 over the stream by position: the key stream runs through the record
// headers and clear records too, only their bytes are left as they are.
class Rc4Stream {
public:
    explicit Rc4Stream(const Rc4Keys& keys) : keys_(keys), rc4_(keys.cipher(0)) {}

    void decrypt(std::span<std::byte> stream, std::size_t at, std::size_t n)
    {
        while (n > 0) {
            const std::uint32_t block = static_cast<std::uint32_t>(at / kBlock);
            if (block != block_ || at < pos_) {
                rc4_ = keys_.cipher(block);
                block_ = block;
                pos_ = std::size_t{block} * kBlock;
            }
            rc4_.skip(at - pos_);
            const std::size_t k = std::min(n, (std::size_t{block} + 1) * kBlock - at);
            rc4_.apply(stream.subspan(at, k));
            at += k;
            n -= k;
            pos_ = at;
        }
    }

private:
    const Rc4Keys& keys_;
    Rc4 rc4_;
    std::uint32_t block_ = 0;
    std::size_t pos_ = 0;
};

void decryptRecords(Bytes& s, std::size_t from, const Cipher& cipher)
{
    std::optional<Rc4Stream> rc4;
    if (const auto* keys = std::get_if<Rc4Keys>(&cipher))
        rc4.emplace(*keys);
    const auto span = std::span<std::byte>(s);
    for (std::size_t pos = from; pos + 4 <= s.size();) {
        const std::uint16_t type = u16(s, pos);
        const std::size_t len = std::min<std::size_t>(u16(s, pos + 2), s.size() - pos - 4);
        const std::size_t data = pos + 4;
        if (!inClear(type)) {
            // A sheet's stream position, the first field of its BOUNDSHEET8, is in clear.
            const std::size_t skip = type == biff::rt::BoundSheet8 ? std::min<std::size_t>(4, len) : 0;
            if (rc4)
                rc4->decrypt(span, data + skip, len - skip);
            else  // XOR: the array index starts where the record ends
                xorDecrypt(std::get<XorCipher>(cipher).array, data + len + skip, span.subspan(data + skip, len - skip));
        }
        pos = data + len;
    }
}

// Stream offsets after `cut` move back by `removed`: the sheets' positions in
// BOUNDSHEET8, the DBCELL and DEFCOLWIDTH positions in INDEX, the string
// positions in EXTSST.
void moveOffsets(Bytes& s, std::size_t cut, std::uint32_t removed)
{
    auto fix = [&](std::size_t at) {
        const std::uint32_t v = u32(s, at);
        if (v > cut) {
            const std::uint32_t m = v - removed;
            for (int i = 0; i < 4; ++i)
                s[at + i] = std::byte((m >> (8 * i)) & 0xFF);
        }
    };
    for (std::size_t pos = 0; pos + 4 <= s.size();) {
        const std::uint16_t type = u16(s, pos);
        const std::size_t len = std::min<std::size_t>(u16(s, pos + 2), s.size() - pos - 4);
        const std::size_t body = pos + 4;
        if (type == biff::rt::BoundSheet8 && len >= 4)
            fix(body);
        else if (type == biff::rt::Index && len >= 16)
            for (std::size_t i = 12; i + 4 <= len; i += 4)
                fix(body + i);
        else if (type == biff::rt::ExtSst)
            for (std::size_t i = 2; i + 4 <= len; i += 8)
                fix(body + i);
        pos = body + len;
    }
}

std::optional<std::size_t> findFilePass(View s)
{
    std::size_t pos = 0;
    for (int i = 0; i < kFilePassScan && pos + 4 <= s.size(); ++i) {
        const std::uint16_t type = u16(s, pos);
        if (type == biff::rt::FilePass)
            return pos;
        if (type == biff::rt::BoundSheet8 || type == biff::rt::Eof || (i > 0 && type == biff::rt::Bof))
            break;
        pos += 4 + u16(s, pos + 2);
    }
    return std::nullopt;
}

// One stream held in memory, read as the compound file's streams are.
class MemoryStream final : public cfb::Stream {
public:
    MemoryStream(std::shared_ptr<const Bytes> bytes, std::string file, std::string name)
        : bytes_(std::move(bytes)), file_(std::move(file)), name_(std::move(name))
    {
    }
    std::uint64_t size() const override { return bytes_->size(); }
    void read(std::uint64_t offset, std::size_t n, std::vector<std::byte>& out) override
    {
        const View v = view(offset, n);
        out.insert(out.end(), v.begin(), v.end());
    }
    View view(std::uint64_t offset, std::size_t n) override
    {
        if (offset > bytes_->size() || n > bytes_->size() - offset)
            throw damaged(file_, "stream '" + name_ + "'",
                          "a read of " + std::to_string(n) + " bytes at offset " + std::to_string(offset) +
                              " runs past its end (" + std::to_string(bytes_->size()) + " bytes)");
        return View(*bytes_).subspan(static_cast<std::size_t>(offset), n);
    }
    View lasting(std::uint64_t offset, std::size_t n, std::deque<std::vector<std::byte>>&) override
    {
        return view(offset, n);
    }

private:
    std::shared_ptr<const Bytes> bytes_;
    std::string file_, name_;
};

class DecryptedStorage final : public cfb::Storage {
public:
    DecryptedStorage(std::unique_ptr<cfb::Storage> inner, std::string name, Bytes bytes, std::string file)
        : inner_(std::move(inner)), name_(std::move(name)), bytes_(std::make_shared<const Bytes>(std::move(bytes))),
          file_(std::move(file))
    {
    }
    std::vector<std::string> childNames() const override
    {
        std::vector<std::string> names = inner_->childNames();
        std::erase_if(names, [](const std::string& n) { return n == "encryption"; });
        return names;
    }
    bool isStorage(const std::string& name) const override { return inner_->isStorage(name); }
    std::unique_ptr<cfb::Stream> openStream(const std::string& name) const override
    {
        if (name == name_)
            return std::make_unique<MemoryStream>(bytes_, file_, name_);
        return inner_->openStream(name);
    }
    std::unique_ptr<cfb::Storage> openStorage(const std::string& name) const override
    {
        return inner_->openStorage(name);
    }
    cfb::ClassId classId() const override { return inner_->classId(); }

private:
    std::unique_ptr<cfb::Storage> inner_;
    std::string name_;
    std::shared_ptr<const Bytes> bytes_;
    std::string file_;
};

}  // namespace

bool hasFilePass(cfb::Stream& stream)
{
    // The FILEPASS comes among the first few records: read just those.
    const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(stream.size(), 4096));
    return findFilePass(stream.view(0, n)).has_value();
}

Bytes decryptWorkbookStream(View stream, const std::string& file, const PasswordSupply& passwords)
{
    const std::optional<std::size_t> at = findFilePass(stream);
    if (!at)
        return Bytes(stream.begin(), stream.end());
    const std::size_t len = u16(stream, *at + 2);
    if (*at + 4 + len > stream.size())
        bad(file, *at, "the record runs past the end of the stream");
    const Cipher cipher = keyFor(stream.subspan(*at + 4, len), *at, file, passwords);
    Bytes s(stream.begin(), stream.end());
    decryptRecords(s, *at + 4 + len, cipher);
    s.erase(s.begin() + static_cast<std::ptrdiff_t>(*at), s.begin() + static_cast<std::ptrdiff_t>(*at + 4 + len));
    moveOffsets(s, *at, static_cast<std::uint32_t>(4 + len));
    return s;
}

std::unique_ptr<cfb::Storage> withDecryptedStream(std::unique_ptr<cfb::Storage> root, const std::string& name,
                                                  Bytes decrypted, const std::string& file)
{
    return std::make_unique<DecryptedStorage>(std::move(root), name, std::move(decrypted), file);
}

}  // namespace excel::crypto
