#pragma once
// The one error type every layer raises. It carries what the program's error
// reports show: a number and a plain description. The numbers follow the
// classic run-time numbers where the same condition exists, so that a report
// reads the same whatever layer the failure came from.

#include <exception>
#include <stdexcept>
#include <string>

namespace tb {

namespace err {
inline constexpr int InvalidArgument = 5;
inline constexpr int Overflow = 6;
inline constexpr int SubscriptOutOfRange = 9;
inline constexpr int TypeMismatch = 13;
inline constexpr int ObjectNotSet = 91;
inline constexpr int FileNotFound = 53;
inline constexpr int FileAlreadyOpen = 55;
inline constexpr int DiskFull = 61;
inline constexpr int PermissionDenied = 70;
inline constexpr int PathFileAccess = 75;
inline constexpr int PathNotFound = 76;
inline constexpr int EngineFailure = 1004;
}  // namespace err

class Error : public std::runtime_error {
public:
    Error(int number, std::string description)
        : std::runtime_error(description), number_(number), description_(std::move(description)) {}

    int number() const noexcept { return number_; }
    const std::string& description() const noexcept { return description_; }

private:
    int number_;
    std::string description_;
};

// Maps an errno value from a file operation to the run-time number that
// describes the same condition, and words the description around `what` and
// the path it concerned.
Error fileError(int errnoValue, const std::string& what, const std::string& path);

// Any failure as the reports show it: an Error as it is, anything else with
// the number the condition has always had (7 out of memory, 51 internal).
Error errorOf(std::exception_ptr failure);

}  // namespace tb
