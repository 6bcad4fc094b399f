#include "XorObfuscation.h"

namespace excel::crypto {

namespace {

constexpr std::array<std::uint8_t, 15> kPad{0xBB, 0xFF, 0xFF, 0xBA, 0xFF, 0xFF, 0xB9, 0x80,
                                            0x00, 0xBE, 0x0F, 0x00, 0xBF, 0x0F, 0x00};

constexpr std::array<std::uint16_t, 15> kInitialCode{0xE1F0, 0x1D0F, 0xCC9C, 0x84C0, 0x110C, 0x0E10, 0xF1CE, 0x313E,
                                                     0x1872, 0xE139, 0xD40F, 0x84F9, 0x280C, 0xA96A, 0x4EC3};

constexpr std::array<std::uint16_t, 105> kXorMatrix{
    0xAEFC, 0x4DD9, 0x9BB2, 0x2745, 0x4E8A, 0x9D14, 0x2A09, 0x7B61, 0xF6C2, 0xFDA5, 0xEB6B, 0xC6F7, 0x9DCF, 0x2BBF,
    0x4563, 0x8AC6, 0x05AD, 0x0B5A, 0x16B4, 0x2D68, 0x5AD0, 0x0375, 0x06EA, 0x0DD4, 0x1BA8, 0x3750, 0x6EA0, 0xDD40,
    0xD849, 0xA0B3, 0x5147, 0xA28E, 0x553D, 0xAA7A, 0x44D5, 0x6F45, 0xDE8A, 0xAD35, 0x4A4B, 0x9496, 0x390D, 0x721A,
    0xEB23, 0xC667, 0x9CEF, 0x29FF, 0x53FE, 0xA7FC, 0x5FD9, 0x47D3, 0x8FA6, 0x0F6D, 0x1EDA, 0x3DB4, 0x7B68, 0xF6D0,
    0xB861, 0x60E3, 0xC1C6, 0x93AD, 0x377B, 0x6EF6, 0xDDEC, 0x45A0, 0x8B40, 0x06A1, 0x0D42, 0x1A84, 0x3508, 0x6A10,
    0xAA51, 0x4483, 0x8906, 0x022D, 0x045A, 0x08B4, 0x1168, 0x76B4, 0xED68, 0xCAF1, 0x85C3, 0x1BA7, 0x374E, 0x6E9C,
    0x3730, 0x6E60, 0xDCC0, 0xA9A1, 0x4363, 0x86C6, 0x1DAD, 0x3331, 0x6662, 0xCCC4, 0x89A9, 0x0373, 0x06E6, 0x0DCC,
    0x1021, 0x2042, 0x4084, 0x8108, 0x1231, 0x2462, 0x48C4};

std::uint8_t rotr(std::uint8_t v, int n) { return static_cast<std::uint8_t>((v >> n) | (v << (8 - n))); }
std::uint8_t at(View p, std::size_t i) { return std::to_integer<std::uint8_t>(p[i]); }

}  // namespace

// [MS-OFFCRYPTO 2.3.7.2] CreateXorKey_Method1.
std::uint16_t xorKey(View password)
{
    if (password.empty())
        return 0;
    std::uint16_t key = kInitialCode[password.size() - 1];
    std::size_t element = 0x68;
    for (std::size_t i = password.size(); i-- > 0;) {
        std::uint8_t c = at(password, i);
        for (int bit = 0; bit < 7; ++bit, --element) {
            if (c & 0x40)
                key ^= kXorMatrix[element];
            c = static_cast<std::uint8_t>(c << 1);
        }
    }
    return key;
}

// [MS-OFFCRYPTO 2.3.7.1] CreatePasswordVerifier_Method1.
std::uint16_t xorVerifier(View password)
{
    std::uint16_t verifier = 0;
    auto take = [&](std::uint8_t b) {
        const std::uint16_t high = (verifier & 0x4000) ? 1 : 0;
        verifier = static_cast<std::uint16_t>((((verifier << 1) & 0x7FFF) | high) ^ b);
    };
    for (std::size_t i = password.size(); i-- > 0;)
        take(at(password, i));
    take(static_cast<std::uint8_t>(password.size()));
    return verifier ^ 0xCE4B;
}

// [MS-OFFCRYPTO 2.3.7.2] CreateXorArray_Method1: the password, then the pad,
// each byte XORed with the key's low (even places) or high byte and rotated.
std::optional<XorArray> xorArrayFor(View password, std::uint16_t key, std::uint16_t verifier)
{
    if (password.empty() || password.size() > 15 || xorKey(password) != key || xorVerifier(password) != verifier)
        return std::nullopt;
    XorArray a{};
    for (std::size_t i = 0; i < a.size(); ++i) {
        const std::uint8_t plain = i < password.size() ? at(password, i) : kPad[i - password.size()];
        const std::uint8_t k = (i % 2 == 0) ? (key & 0xFF) : (key >> 8);
        a[i] = rotr(static_cast<std::uint8_t>(plain ^ k), 1);
    }
    return a;
}

// [MS-OFFCRYPTO 2.3.7.3] DecryptData_Method1.
void xorDecrypt(const XorArray& array, std::size_t index, std::span<std::byte> data)
{
    for (std::byte& b : data) {
        b = std::byte(rotr(static_cast<std::uint8_t>(std::to_integer<std::uint8_t>(b) ^ array[index % 16]), 5));
        ++index;
    }
}

}  // namespace excel::crypto
