#pragma once
// What a format module did to read past damage, one plain sentence per kind
// of repair ("the shared-string table ends early; cells that refer past it
// read as empty"). A workbook's list only grows: a copy made on the worker
// thread may add to it while the caller reads it.

#include <mutex>
#include <string>
#include <vector>

namespace excel {

class Repairs {
public:
    // Adds `sentence` unless the list holds it already.
    void add(const std::string& sentence);
    std::vector<std::string> list() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> sentences_;
};

}  // namespace excel
