#pragma once

#include <string>
#include <vector>

namespace cli {

// The passwords of --password-file: one a line, in the file's order; a
// carriage return before the line feed is not part of the password, and
// empty lines are passed over. Throws tb::Error naming the file when it
// cannot be read.
std::vector<std::string> readPasswordFile(const std::string& path);

}  // namespace cli
