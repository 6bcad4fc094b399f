#pragma once
// The copies made of one source workbook, the next sheet's made ahead on the
// engine's worker thread. A split asks for the copy of a sheet, saves it,
// closes it and asks for the next sheet's: while the caller writes one copy
// to disk, the next is read and rewritten. The copy made ahead is the one
// the caller would get (same sheet, same source name, same bytes read); a
// request for any other waits for it to end and drops it.
//
// While a copy is under way only its thread reads the document's lazily
// built state: every call here first waits for it. What the caller does
// meanwhile (names, saving other workbooks) reads only state fixed at open.

#include "Document.h"
#include "WorkerThread.h"

#include <cstddef>
#include <future>
#include <memory>

namespace excel {

class CopyAhead {
public:
    // `bytes`: the file's, handed back after each copy so that memory does
    // not grow with the sheets read; null for a workbook held in memory.
    // `worker`: where copies are made ahead; with none, each is made when
    // asked for.
    CopyAhead(const Document& doc, std::shared_ptr<const tb::ByteSource> bytes,
              std::shared_ptr<WorkerThread> worker);
    ~CopyAhead();
    CopyAhead(const CopyAhead&) = delete;
    CopyAhead& operator=(const CopyAhead&) = delete;

    // Worksheet `index` copied (Document::copyWorksheet), then the next one
    // started. Throws what the copy throws.
    std::unique_ptr<Document> copy(std::size_t index, const CopySource& source);

    // Waits for a copy under way and drops it.
    void drop() noexcept;

private:
    std::unique_ptr<Document> copyNow(std::size_t index, const CopySource& source) const;
    void startNext(std::size_t index, const CopySource& source) noexcept;

    const Document& doc_;
    std::shared_ptr<const tb::ByteSource> bytes_;
    std::shared_ptr<WorkerThread> worker_;  // outlives every copy queued on it
    std::future<std::unique_ptr<Document>> ahead_;
    std::size_t aheadIndex_ = 0;
    CopySource aheadSource_;
};

}  // namespace excel
