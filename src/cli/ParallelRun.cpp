#include "ParallelRun.h"

#include "Output.h"
#include "RunRows.h"
#include "TerminalPrompter.h"
#include "excel/Application.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <optional>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cli {

std::vector<Segment> segmentsOf(const tasklist::TaskList& list)
{
    std::vector<Segment> segments;
    for (int i = 1; i <= list.count(); ++i) {
        if (segments.empty() || list.row(i).SourceFileName != list.row(i - 1).SourceFileName)
            segments.push_back({i, 0});
        ++segments.back().count;
    }
    return segments;
}

std::vector<std::vector<int>> folderGroups(const tasklist::TaskList& list, const std::vector<Segment>& segments,
                                           const std::string& chosenFolder, bool windowNames)
{
    std::vector<std::vector<int>> groups;
    std::map<std::string, std::size_t> groupOfFolder;
    for (int s = 0; s < static_cast<int>(segments.size()); ++s) {
        if (!windowNames) {
            groups.push_back({s});
            continue;
        }
        const std::string folder = windowFolder(chosenFolder, list.row(segments[static_cast<std::size_t>(s)].first));
        const auto [at, fresh] = groupOfFolder.emplace(folder, groups.size());
        if (fresh)
            groups.emplace_back();
        groups[at->second].push_back(s);
    }
    return groups;
}

namespace {

// What a worker sends its parent for each workbook it finished: this
// header, then the captured standard output and standard error.
struct Finished {
    std::int32_t segment;
    std::int32_t written, skipped, failed, workbooksFailed;
    std::uint64_t bytes;
    std::uint64_t outSize, errSize;
};

// The captured output of one workbook, waiting for its turn to be printed.
struct Result {
    std::string out, err;
    SummaryLine counts;
};

bool writeAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

// Everything written to the memory file `fd` since it was emptied.
std::string drain(int fd)
{
    std::string text;
    ::lseek(fd, 0, SEEK_SET);
    char buf[65536];
    for (ssize_t n; (n = ::read(fd, buf, sizeof buf)) > 0;)
        text.append(buf, static_cast<std::size_t>(n));
    (void)::ftruncate(fd, 0);
    ::lseek(fd, 0, SEEK_SET);
    return text;
}

// One worker: takes groups from the shared counter until none is left, and
// sends each workbook's output to the parent through `to`.
void work(const Options& options, const tasklist::TaskList& list, const split::RunOptions& runOptions,
          const std::vector<RowName>& names, RepairReport& repairs, const std::vector<Segment>& segments,
          const std::vector<std::vector<int>>& groups, std::atomic<int>& next, int to, PasswordPrompt passwords)
{
    const int out = ::dup(STDOUT_FILENO), err = ::dup(STDERR_FILENO);
    const int memOut = ::memfd_create("stdout", MFD_CLOEXEC), memErr = ::memfd_create("stderr", MFD_CLOEXEC);
    if (out < 0 || err < 0 || memOut < 0 || memErr < 0)
        std::_Exit(3);
    passwords.stopAsking();
    excel::Application app;
    TerminalPrompter prompter;
    configure(app, options, prompter, passwords);
    for (int g; (g = next.fetch_add(1)) < static_cast<int>(groups.size());) {
        for (const int s : groups[static_cast<std::size_t>(g)]) {
            const Segment seg = segments[static_cast<std::size_t>(s)];
            ::dup2(memOut, STDOUT_FILENO);
            ::dup2(memErr, STDERR_FILENO);
            Outcomes outcomes(options.json, false);
            const auto from = names.begin() + (names.empty() ? 0 : seg.first - 1);
            const std::vector<RowName> part(from, names.empty() ? from : from + seg.count);
            runRows(app, list.slice(seg.first, seg.count), runOptions, part, repairs, outcomes, false);
            std::fflush(stdout);
            std::fflush(stderr);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(err, STDERR_FILENO);
            const SummaryLine& c = outcomes.counts();
            const std::string o = drain(memOut), e = drain(memErr);
            const Finished head{s, c.written, c.skipped, c.failed, c.workbooksFailed, c.bytes, o.size(), e.size()};
            if (!writeAll(to, reinterpret_cast<const char*>(&head), sizeof head) || !writeAll(to, o.data(), o.size()) ||
                !writeAll(to, e.data(), e.size()))
                std::_Exit(3);
        }
    }
}

// Takes the finished workbooks out of what a worker sent so far.
void parse(std::string& buffer, std::vector<std::optional<Result>>& results)
{
    std::size_t at = 0;
    while (buffer.size() - at >= sizeof(Finished)) {
        Finished head;
        std::memcpy(&head, buffer.data() + at, sizeof head);
        const std::size_t size = sizeof head + head.outSize + head.errSize;
        if (buffer.size() - at < size)
            break;
        Result r;
        r.out = buffer.substr(at + sizeof head, head.outSize);
        r.err = buffer.substr(at + sizeof head + head.outSize, head.errSize);
        r.counts.written = head.written;
        r.counts.skipped = head.skipped;
        r.counts.failed = head.failed;
        r.counts.workbooksFailed = head.workbooksFailed;
        r.counts.bytes = head.bytes;
        if (head.segment >= 0 && static_cast<std::size_t>(head.segment) < results.size())
            results[static_cast<std::size_t>(head.segment)] = std::move(r);
        at += size;
    }
    buffer.erase(0, at);
}

}  // namespace

namespace {

struct Worker {
    pid_t pid;
    int from;  // the read end of its pipe
    std::string buffer;
};

// Reads what the workers send until every one has closed its pipe, calling
// `onResult` after each read.
template <typename OnResult>
void collect(std::vector<Worker>& workers, std::vector<std::optional<Result>>& results, OnResult onResult)
{
    std::vector<pollfd> polls;
    for (const Worker& w : workers)
        polls.push_back({w.from, POLLIN, 0});
    for (std::size_t open = polls.size(); open > 0;) {
        if (::poll(polls.data(), polls.size(), -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        for (std::size_t k = 0; k < polls.size(); ++k) {
            if (polls[k].fd < 0 || polls[k].revents == 0)
                continue;
            char buf[65536];
            const ssize_t n = ::read(polls[k].fd, buf, sizeof buf);
            if (n > 0) {
                workers[k].buffer.append(buf, static_cast<std::size_t>(n));
                parse(workers[k].buffer, results);
            } else if (n == 0 || errno != EINTR) {
                ::close(polls[k].fd);
                polls[k].fd = -1;
                --open;
            }
        }
        onResult();
    }
    for (const Worker& w : workers)
        ::waitpid(w.pid, nullptr, 0);
}

}  // namespace

void runInParallel(const Options& options, const tasklist::TaskList& list, const split::RunOptions& runOptions,
                   const std::vector<RowName>& names, RepairReport& repairs, Outcomes& outcomes,
                   const PasswordPrompt& passwords)
{
    const std::vector<Segment> segments = segmentsOf(list);
    const auto groups = folderGroups(list, segments, runOptions.chosenFolder, names.empty());
    void* shared = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::fprintf(stderr, "tamberlin-split: cannot start the worker processes; splitting in this one.\n");
        excel::Application app;
        TerminalPrompter prompter;
        PasswordPrompt again = passwords;
        configure(app, options, prompter, again);
        runRows(app, list, runOptions, names, repairs, outcomes, false);
        return;
    }
    auto* next = new (shared) std::atomic<int>(0);
    std::fflush(stdout);
    std::fflush(stderr);
    std::vector<Worker> workers;
    const int count = std::min<int>(options.jobs, static_cast<int>(groups.size()));
    for (int k = 0; k < count; ++k) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0)
            break;
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::close(fds[0]);
            try {
                work(options, list, runOptions, names, repairs, segments, groups, *next, fds[1], passwords);
            } catch (...) {
                std::_Exit(3);
            }
            std::_Exit(0);
        }
        ::close(fds[1]);
        if (pid < 0) {
            ::close(fds[0]);
            break;
        }
        workers.push_back({pid, fds[0], {}});
    }

    // Each workbook is printed once it and every one before it are done; one
    // that no worker finished (it died, or none could start) is a failure.
    std::vector<std::optional<Result>> results(segments.size());
    std::size_t printed = 0;
    auto print = [&](bool all) {
        for (; printed < segments.size() && (all || results[printed]); ++printed) {
            if (auto& r = results[printed]) {
                std::fwrite(r->out.data(), 1, r->out.size(), stdout);
                std::fflush(stdout);
                std::fwrite(r->err.data(), 1, r->err.size(), stderr);
                std::fflush(stderr);
                outcomes.add(r->counts);
                r.reset();
                continue;
            }
            const std::string source = list.row(segments[printed].first).SourceFileName;
            std::fprintf(stderr, "tamberlin-split: %s: not split: its worker process ended early.\n", source.c_str());
            outcomes.failed(source, {}, "not split: its worker process ended early");
        }
    };
    collect(workers, results, [&] { print(false); });
    print(true);
    ::munmap(shared, sizeof(std::atomic<int>));
}

}  // namespace cli
