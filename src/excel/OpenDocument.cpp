#include "Document.h"

#include "EngineError.h"
#include "biff/BiffDocument.h"
#include "cfb/CompoundFile.h"
#include "crypto/EncryptedPackage.h"
#include "ooxml/OoxmlDocument.h"

#include <array>
#include <cstring>

namespace excel {

namespace {
constexpr std::array<unsigned char, 4> kZipLocal{'P', 'K', 3, 4};
constexpr std::array<unsigned char, 4> kZipEmpty{'P', 'K', 5, 6};
constexpr std::array<unsigned char, 8> kCompoundFile{0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};

template <std::size_t N>
bool startsWith(std::span<const std::byte> b, const std::array<unsigned char, N>& sig)
{
    return b.size() >= N && std::memcmp(b.data(), sig.data(), N) == 0;
}

// Excel 2.x to 4.0 wrote a bare BIFF stream, not a compound file: it opens
// with a BOF record of type 0x0009, 0x0209 or 0x0409 and a short body.
bool isBareOldBiff(std::span<const std::byte> b)
{
    if (b.size() < 8)
        return false;
    const unsigned type = std::to_integer<unsigned>(b[0]) | (std::to_integer<unsigned>(b[1]) << 8);
    const unsigned length = std::to_integer<unsigned>(b[2]) | (std::to_integer<unsigned>(b[3]) << 8);
    return (type == 0x0009 || type == 0x0209 || type == 0x0409) && length >= 4 && length <= 16;
}
}  // namespace

std::unique_ptr<Document> openDocument(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file,
                                       const crypto::PasswordSupply& passwords)
{
    const auto b = bytes->bytes();
    if (startsWith(b, kZipLocal) || startsWith(b, kZipEmpty))
        return ooxml::openPackage(std::move(bytes), file);
    if (startsWith(b, kCompoundFile)) {
        auto root = cfb::openCompoundFile(bytes, file);
        // An OOXML package with a password to open lies encrypted in a compound file.
        if (crypto::isEncryptedPackage(*root))
            return ooxml::openPackage(
                std::make_shared<tb::MemorySource>(crypto::decryptPackage(*root, file, passwords)), file);
        return biff::openCompoundFile(std::move(root), std::move(bytes), file, passwords);
    }
    if (b.empty())
        throw refused(file, "is not a workbook: the file is empty.");
    if (isBareOldBiff(b))
        throw refused(file, "is an Excel 2.x-4.0 workbook (BIFF2 to BIFF4); only Excel 97-2003 workbooks (BIFF8) and "
                              "Office Open XML workbooks can be read.");
    throw refused(file, "is not a workbook: it is neither an Excel 97-2003 file nor an Office Open XML package.");
}

}  // namespace excel
