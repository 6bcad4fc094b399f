#include "LocalTimeZone.h"

#include <cstdlib>

namespace tb {

void pinLocalTimeZone()
{
    // The form glibc and Qt both read as "the system's zone" [tzset(3)].
    setenv("TZ", ":/etc/localtime", 0);
}

}  // namespace tb
