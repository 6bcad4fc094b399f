#include "Repairs.h"

#include <algorithm>

namespace excel {

void Repairs::add(const std::string& sentence)
{
    const std::lock_guard lock(mutex_);
    if (std::find(sentences_.begin(), sentences_.end(), sentence) == sentences_.end())
        sentences_.push_back(sentence);
}

std::vector<std::string> Repairs::list() const
{
    const std::lock_guard lock(mutex_);
    return sentences_;
}

}  // namespace excel
