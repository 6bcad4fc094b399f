#pragma once

#include <QString>

#include <optional>

namespace app {

// The value of a numeric text as the classic number test takes it: blanks
// around it, a sign, decimals, an exponent, "&H" hexadecimal and "&O" octal;
// nothing for any other text.
std::optional<double> numericValue(const QString& text);

// A settings text as a truth value: a number is true unless it is zero
// ("1", "-1", " 2.5", "&H1"), the words True and False in any case of
// letters are themselves; anything else, the empty text included, throws
// tb::Error 13 (type mismatch).
bool textToBoolean(const QString& text);

}  // namespace app
