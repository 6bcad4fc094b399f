#pragma once
// Every part of a workbook package carries a local date and time, which the
// zip library turns into a time with mktime as it reads the package's
// directory. With TZ unset, the C library checks /etc/localtime again on
// every such call, a file lookup for each part of each workbook opened.
// Naming that same zone file in TZ has it read once, with the same result.

namespace tb {

// Sets TZ to the system's zone file when TZ is unset. Called once, at start,
// before any thread is started.
void pinLocalTimeZone();

}  // namespace tb
