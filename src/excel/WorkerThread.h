#pragma once
// One thread, kept while the engine runs, that does the jobs handed to it one
// after the other. The engine copies the next sheet of a workbook on it while
// the caller saves the one before. A thread started for each such copy cost
// more than copying a small sheet: mapping and releasing its stack, and
// tearing it down across cores.

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace excel {

class WorkerThread {
public:
    WorkerThread() = default;
    // Does the jobs still queued, then ends the thread.
    ~WorkerThread();
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Queues `job`, starting the thread on the first. False when there is no
    // thread to run it (the system would not start one); the job is dropped.
    // A job must not throw.
    bool post(std::function<void()> job) noexcept;

private:
    void run();

    std::mutex mutex_;
    std::condition_variable queued_;
    std::deque<std::function<void()>> jobs_;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace excel
