#include "RepairReport.h"

namespace cli {

void RepairReport::report(const std::string& fullName, const std::string& name, const std::vector<std::string>& repairs)
{
    for (const std::string& sentence : repairs) {
        if (printed_.emplace(fullName, sentence).second)
            std::fprintf(out_, "%s: repaired: %s\n", name.c_str(), sentence.c_str());
    }
    std::fflush(out_);
}

}  // namespace cli
