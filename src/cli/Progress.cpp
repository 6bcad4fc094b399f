#include "Progress.h"

#include <cstdio>
#include <unistd.h>

namespace cli {

Progress::Progress(int total) : total_(total), enabled_(::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() { clear(); }

void Progress::show(int done, const std::string& what)
{
    if (!enabled_ || total_ <= 0)
        return;
    constexpr int width = 30;
    const int filled = done * width / total_;
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.append(static_cast<std::size_t>(width - filled), '.');
    std::string label = what.size() > 40 ? what.substr(0, 37) + "..." : what;
    std::fprintf(stderr, "\r\033[K[%s] %d/%d %s", bar.c_str(), done, total_, label.c_str());
    std::fflush(stderr);
    drawn_ = true;
}

void Progress::clear()
{
    if (drawn_) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        drawn_ = false;
    }
}

}  // namespace cli
