#pragma once
// The collection of all workbooks open in the engine.

#include <memory>
#include <string>

namespace excel {

class Application;
class Workbook;

class Workbooks {
public:
    explicit Workbooks(Application& app) : app_(app) {}

    int Count() const;
    // 1-based, in opening order; error 9 when out of range.
    std::shared_ptr<Workbook> Item(int index) const;
    // Opens the file read-only in the engine and makes it the active
    // workbook. A workbook already open under the same path is activated
    // instead of opened twice. Throws tb::Error naming the file.
    std::shared_ptr<Workbook> Open(const std::string& filename);
    // Closes every open workbook without saving. Nothing open: nothing to do.
    void Close();

private:
    Application& app_;
};

}  // namespace excel
