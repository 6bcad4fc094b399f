#pragma once

#include <QString>

namespace app {

// A settings text as a truth value: a number is true unless it is zero
// ("1", "-1", " 2.5", "&H1"), the words True and False in any case of
// letters are themselves; anything else, the empty text included, throws
// tb::Error 13 (type mismatch).
bool textToBoolean(const QString& text);

}  // namespace app
