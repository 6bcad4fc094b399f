#pragma once
// A one-line progress bar on standard error, drawn only when standard error
// is a terminal; piped or redirected output stays clean.

#include <string>

namespace cli {

class Progress {
public:
    explicit Progress(int total);
    ~Progress();
    void show(int done, const std::string& what);
    // Removes the bar so that a following line starts clean.
    void clear();

private:
    int total_;
    bool enabled_;
    bool drawn_ = false;
};

}  // namespace cli
