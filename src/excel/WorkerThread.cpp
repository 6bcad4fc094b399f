#include "WorkerThread.h"

#include <system_error>

namespace excel {

WorkerThread::~WorkerThread()
{
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
    }
    queued_.notify_one();
    if (thread_.joinable())
        thread_.join();
}

bool WorkerThread::post(std::function<void()> job) noexcept
{
    try {
        std::lock_guard lock(mutex_);
        if (!thread_.joinable())
            thread_ = std::thread(&WorkerThread::run, this);
        jobs_.push_back(std::move(job));
    } catch (const std::system_error&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    queued_.notify_one();
    return true;
}

void WorkerThread::run()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        queued_.wait(lock, [&] { return ending_ || !jobs_.empty(); });
        if (jobs_.empty())
            return;  // ending, with nothing left to do
        std::function<void()> job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        job();
        job = nullptr;  // what the job holds goes on this thread, outside the lock
        lock.lock();
    }
}

}  // namespace excel
