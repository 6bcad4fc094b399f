// Copies made ahead on a second thread: the caller gets what it asked for,
// a failure reaches the call that asks for that sheet and no other, and the
// source outlives any copy still being made.

#include "excel/CopyAhead.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using excel::CopySource;
using excel::Document;

class MadeCopy final : public Document {
public:
    MadeCopy(std::size_t index, std::string source) : index(index), source(std::move(source)), names_{"copy"} {}
    excel::Family family() const override { return excel::Family::Biff8; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    excel::SheetVisibility worksheetVisibility(std::size_t) const override { return excel::SheetVisibility::Visible; }
    bool worksheetHasContent(std::size_t) const override { return true; }
    std::string fileExtension() const override { return "xls"; }
    std::unique_ptr<Document> copyWorksheet(std::size_t, const CopySource&) const override { return nullptr; }
    void save(tb::ByteSink&) const override {}

    std::size_t index;
    std::string source;

private:
    std::vector<std::string> names_;
};

// How many copies this thread has made, in every test: a thread kept for
// many copies counts up, a thread started for each counts one.
thread_local int copiesOnThisThread = 0;

// A source whose copies note what was asked and on which thread, fail for
// one sheet, and for one sheet wait until the test lets them go on.
class ScriptedSource final : public Document {
public:
    explicit ScriptedSource(std::size_t sheets) : names_(sheets, "sheet") {}
    ~ScriptedSource() override { alive = false; }

    excel::Family family() const override { return excel::Family::Biff8; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    excel::SheetVisibility worksheetVisibility(std::size_t) const override { return excel::SheetVisibility::Visible; }
    bool worksheetHasContent(std::size_t) const override { return true; }
    std::string fileExtension() const override { return "xls"; }
    void save(tb::ByteSink&) const override {}

    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override
    {
        std::unique_lock lock(mutex_);
        made.emplace_back(index, source.fullName, std::this_thread::get_id());
        turns.push_back(++copiesOnThisThread);
        if (index == held) {
            ++waiting;
            changed_.notify_all();
            changed_.wait(lock, [&] { return !hold; });
        }
        if (index == failing)
            throw tb::Error(tb::err::EngineFailure, "sheet " + std::to_string(index) + " is damaged");
        if (!alive)
            ADD_FAILURE() << "copied from a source already gone";
        ++finished;
        return std::make_unique<MadeCopy>(index, source.fullName);
    }

    void waitUntilHeld()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return waiting > 0; });
    }
    void letGo()
    {
        std::lock_guard lock(mutex_);
        hold = false;
        changed_.notify_all();
    }
    std::size_t copiesOf(std::size_t index, const std::string& file) const
    {
        std::lock_guard lock(mutex_);
        std::size_t n = 0;
        for (const auto& [i, f, t] : made)
            n += i == index && f == file;
        return n;
    }

    std::size_t failing = SIZE_MAX;
    std::size_t held = SIZE_MAX;
    bool hold = true;
    mutable int waiting = 0;
    mutable int finished = 0;
    std::atomic<bool> alive{true};
    mutable std::vector<std::tuple<std::size_t, std::string, std::thread::id>> made;
    mutable std::vector<int> turns;  // of each copy in `made`, on its thread

private:
    std::vector<std::string> names_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
};

const MadeCopy& asMade(const std::unique_ptr<Document>& d) { return dynamic_cast<const MadeCopy&>(*d); }

}  // namespace

TEST(CopyAhead, SheetsAskedInOrderAreEachCopiedOnceTheNextOnAnotherThread)
{
    ScriptedSource doc(4);
    excel::CopyAhead copies(doc, nullptr, std::make_shared<excel::WorkerThread>());
    const CopySource src{"/data/a.xls", "a.xls"};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(asMade(copies.copy(i, src)).index, i);
    copies.drop();
    ASSERT_EQ(doc.made.size(), 4u);  // none past the last sheet
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(doc.copiesOf(i, src.fullName), 1u) << i;
    EXPECT_EQ(std::get<2>(doc.made[0]), std::this_thread::get_id());
    EXPECT_NE(std::get<2>(doc.made[1]), std::this_thread::get_id());
}

TEST(CopyAhead, AnotherSheetOrAnotherSourceNameIsCopiedWhenAsked)
{
    ScriptedSource doc(4);
    excel::CopyAhead copies(doc, nullptr, std::make_shared<excel::WorkerThread>());
    const CopySource a{"/data/a.xls", "a.xls"}, b{"/data/b.xls", "b.xls"};
    copies.copy(0, a);  // sheet 1 made ahead
    const auto third = copies.copy(2, a);
    EXPECT_EQ(asMade(third).index, 2u);
    const auto renamed = copies.copy(3, b);  // sheet 3 was made ahead under a's name
    EXPECT_EQ(asMade(renamed).index, 3u);
    EXPECT_EQ(asMade(renamed).source, b.fullName);
    const auto back = copies.copy(1, b);
    EXPECT_EQ(asMade(back).index, 1u);
    EXPECT_EQ(asMade(back).source, b.fullName);
}

TEST(CopyAhead, AFailureReachesOnlyTheCallForItsSheet)
{
    ScriptedSource doc(4);
    doc.failing = 2;
    {
        excel::CopyAhead copies(doc, nullptr, std::make_shared<excel::WorkerThread>());
        const CopySource src{"/data/a.xls", "a.xls"};
        EXPECT_NO_THROW(copies.copy(1, src));  // sheet 2 fails ahead, unseen
        try {
            copies.copy(2, src);
            ADD_FAILURE() << "the failed copy was not reported";
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), tb::err::EngineFailure);
            EXPECT_EQ(e.description(), "sheet 2 is damaged");
        }
        EXPECT_EQ(doc.copiesOf(2, src.fullName), 1u);  // reported, not made again
        EXPECT_EQ(asMade(copies.copy(3, src)).index, 3u);
        EXPECT_NO_THROW(copies.copy(1, src));  // and again ahead, then dropped
    }
    EXPECT_EQ(doc.copiesOf(2, "/data/a.xls"), 2u);
}

TEST(CopyAhead, TheCopyUnderWayEndsBeforeTheSourceGoes)
{
    auto doc = std::make_unique<ScriptedSource>(2);
    doc->held = 1;
    ScriptedSource& d = *doc;
    auto copies = std::make_unique<excel::CopyAhead>(d, nullptr, std::make_shared<excel::WorkerThread>());
    copies->copy(0, {"/data/a.xls", "a.xls"});
    d.waitUntilHeld();
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        d.letGo();
    });
    copies.reset();  // waits for sheet 1's copy
    EXPECT_EQ(d.finished, 2);
    doc.reset();
    release.join();
}

TEST(CopyAhead, TheCopiesMadeAheadForEveryWorkbookShareOneThread)
{
    ScriptedSource first(3), second(3);
    auto worker = std::make_shared<excel::WorkerThread>();
    {
        excel::CopyAhead a(first, nullptr, worker), b(second, nullptr, worker);
        a.copy(0, {"/data/a.xls", "a.xls"});
        a.copy(1, {"/data/a.xls", "a.xls"});
        b.copy(0, {"/data/b.xls", "b.xls"});
    }
    ASSERT_EQ(first.made.size(), 3u);
    ASSERT_EQ(second.made.size(), 2u);
    EXPECT_NE(std::get<2>(first.made[1]), std::this_thread::get_id());
    // Thread ids can be reused once a thread ends; a count on the thread cannot.
    EXPECT_EQ(first.turns[1], 1);
    EXPECT_EQ(first.turns[2], 2);
    EXPECT_EQ(second.turns[1], 3);
}

TEST(CopyAhead, WithNoWorkerEachCopyIsMadeWhenAskedForOnTheCallersThread)
{
    ScriptedSource doc(3);
    excel::CopyAhead copies(doc, nullptr, nullptr);
    const CopySource src{"/data/a.xls", "a.xls"};
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(asMade(copies.copy(i, src)).index, i);
    ASSERT_EQ(doc.made.size(), 3u);
    for (const auto& [index, file, thread] : doc.made)
        EXPECT_EQ(thread, std::this_thread::get_id()) << index;
}

TEST(WorkerThread, DoesItsJobsInTurnAndEndsOnlyWhenAllAreDone)
{
    std::vector<int> done;
    std::mutex mutex;
    std::condition_variable changed;
    bool started = false, release = false;
    std::thread releaser;
    {
        excel::WorkerThread worker;
        ASSERT_TRUE(worker.post([&] {
            std::unique_lock lock(mutex);
            started = true;
            changed.notify_all();
            changed.wait(lock, [&] { return release; });
            done.push_back(0);
        }));
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return started; });
        }
        for (int i = 1; i <= 3; ++i)
            ASSERT_TRUE(worker.post([&, i] { done.push_back(i); }));
        releaser = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::lock_guard lock(mutex);
            release = true;
            changed.notify_all();
        });
    }  // ends while the first job still waits: the three queued are done first
    releaser.join();
    EXPECT_EQ(done, (std::vector<int>{0, 1, 2, 3}));
}
