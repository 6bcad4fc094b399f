#pragma once

#include <functional>
#include <optional>
#include <string>

namespace excel::crypto {

// The next password to try on an encrypted workbook (UTF-8) at each call;
// nothing when there are no more. Whoever makes one decides the order: the
// engine puts Excel's built-in password first, then those it holds, then asks.
using PasswordSupply = std::function<std::optional<std::string>()>;

}  // namespace excel::crypto
