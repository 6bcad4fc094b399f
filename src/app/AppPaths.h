#pragma once
// Every file of the program is found below the application folder, from a
// path written with backslashes ("\ICON\Add.ICO"). Linux names tell case
// apart, so each part is matched with case ignored when the exact spelling is
// not there: "\ICON\", "\Icon\" and "\icon\" all reach Icon/.

#include <QString>

namespace app {

// appDir joined with `relative` (backslashes or slashes), each part resolved
// with case ignored where the exact spelling does not exist. A part found in
// no spelling is kept as written, so the result names what is missing.
QString appFile(const QString& appDir, const QString& relative);

}  // namespace app
