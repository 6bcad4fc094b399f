#include "CopyAhead.h"

#include <new>

namespace excel {

CopyAhead::CopyAhead(const Document& doc, std::shared_ptr<const tb::ByteSource> bytes,
                     std::shared_ptr<WorkerThread> worker)
    : doc_(doc), bytes_(std::move(bytes)), worker_(std::move(worker))
{
}

CopyAhead::~CopyAhead() { drop(); }

std::unique_ptr<Document> CopyAhead::copy(std::size_t index, const CopySource& source)
{
    std::unique_ptr<Document> result;
    if (ahead_.valid() && aheadIndex_ == index && aheadSource_ == source) {
        auto made = std::move(ahead_);
        result = made.get();  // its failure is this call's, as if made now
    } else {
        drop();
        result = copyNow(index, source);
    }
    startNext(index + 1, source);
    return result;
}

void CopyAhead::drop() noexcept
{
    if (!ahead_.valid())
        return;
    ahead_.wait();
    ahead_ = {};  // a failure of a copy nobody asked for is nobody's
}

std::unique_ptr<Document> CopyAhead::copyNow(std::size_t index, const CopySource& source) const
{
    auto copy = doc_.copyWorksheet(index, source);
    // What this copy read of the file need not stay in memory for the next:
    // without this, memory grows with every sheet read of a large file.
    if (bytes_)
        bytes_->release();
    return copy;
}

void CopyAhead::startNext(std::size_t index, const CopySource& source) noexcept
{
    if (!worker_ || index >= doc_.worksheetNames().size())
        return;
    try {
        auto task = std::make_shared<std::packaged_task<std::unique_ptr<Document>()>>(
            [this, index, source] { return copyNow(index, source); });
        auto made = task->get_future();
        if (!worker_->post([task] { (*task)(); }))
            return;  // no thread to spare: the next copy is made when asked for
        aheadSource_ = source;
        aheadIndex_ = index;
        ahead_ = std::move(made);
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace excel
