#include "PlatformFactory.h"

#include "QtPlatform.h"

namespace platform {

std::unique_ptr<Platform> createPlatform()
{
    // The one place that chooses the desktop's implementation.
#if defined(__linux__) || defined(__unix__)
    return std::make_unique<qt::QtPlatform>();
#else
#error "No desktop services for this system yet"
#endif
}

}  // namespace platform
