#include "EncryptedPackage.h"

#include "AgileEncryption.h"
#include "StandardEncryption.h"
#include "excel/EngineError.h"
#include "excel/biff/Bytes.h"

namespace excel::crypto {

namespace {

Bytes wholeStream(const cfb::Storage& root, const std::string& name, const std::string& file)
{
    auto stream = root.openStream(name);
    if (!stream)
        throw damaged(file, "compound file", "'" + name + "' is not a stream");
    Bytes out;
    stream->read(0, static_cast<std::size_t>(stream->size()), out);
    return out;
}

}  // namespace

bool isEncryptedPackage(const cfb::Storage& root)
{
    for (const std::string& n : root.childNames())
        if (n == "EncryptionInfo" || n == "EncryptedPackage")
            return true;
    return false;
}

Bytes decryptPackage(const cfb::Storage& root, const std::string& file, const PasswordSupply& passwords)
{
    return decryptPackage(wholeStream(root, "EncryptionInfo", file), wholeStream(root, "EncryptedPackage", file), file,
                          passwords);
}

Bytes decryptPackage(View info, View package, const std::string& file, const PasswordSupply& passwords)
{
    if (info.size() < 8)
        throw damaged(file, "EncryptionInfo stream", "it holds " + std::to_string(info.size()) + " bytes");
    const std::uint16_t major = biff::u16(info, 0), minor = biff::u16(info, 2);
    if (major == 4 && minor == 4)
        return decryptAgile(info.subspan(8), package, file, passwords);
    if ((major == 2 || major == 3 || major == 4) && minor == 2)
        return decryptStandard(info.subspan(4), package, file, passwords);
    throw refused(file, "is encrypted (password to open) with an encryption version " + std::to_string(major) + "." +
                            std::to_string(minor) + " this program does not know.");
}

}  // namespace excel::crypto
