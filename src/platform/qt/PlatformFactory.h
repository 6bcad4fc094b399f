#pragma once

#include "platform/Platform.h"

#include <memory>

namespace platform {

std::unique_ptr<Platform> createPlatform();

}  // namespace platform
