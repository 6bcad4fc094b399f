#include "Error.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace tb {

Error fileError(int e, const std::string& what, const std::string& path)
{
    int number = err::PathFileAccess;
    std::string reason;
    switch (e) {
    case ENOENT:
        number = err::FileNotFound;
        reason = "it does not exist";
        break;
    case ENOTDIR:
        number = err::PathNotFound;
        reason = "a folder on its path does not exist";
        break;
    case EACCES:
    case EPERM:
        number = err::PermissionDenied;
        reason = "permission denied";
        break;
    case EROFS:
        number = err::PermissionDenied;
        reason = "the file system is read-only";
        break;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        number = err::DiskFull;
        reason = "the disk is full or the file is too large";
        break;
    case EISDIR:
        number = err::PathFileAccess;
        reason = "it is a folder";
        break;
    case ENAMETOOLONG:
        number = err::PathNotFound;
        reason = "the name is too long";
        break;
    default:
        reason = std::strerror(e);
        break;
    }
    return Error(number, what + " '" + path + "': " + reason + ".");
}

Error errorOf(std::exception_ptr failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const Error& e) {
        return e;
    } catch (const std::bad_alloc&) {
        return Error(7, "Out of memory.");
    } catch (const std::exception& e) {
        return Error(51, std::string("Internal error: ") + e.what());
    } catch (...) {
        return Error(51, "Internal error.");
    }
}

}  // namespace tb
