#include "Document.h"

#include "EngineError.h"
#include "biff/BiffDocument.h"
#include "biff4/SheetFile.h"
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
    if (biff4::isSheetFile(b))
        return biff4::openSheetFile(std::move(bytes), file);
    throw refused(file, "is not a workbook: it is neither an Excel 97-2003 file nor an Office Open XML package.");
}

}  // namespace excel
