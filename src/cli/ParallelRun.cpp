#include "ParallelRun.h"

#include "Output.h"
#include "RunRows.h"
#include "TerminalPrompter.h"
#include "excel/Application.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
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

// Where one segment's output waits to be printed.
struct Capture {
    std::string dir;
    std::string path(int segment, const char* kind) const { return dir + "/" + std::to_string(segment) + "." + kind; }
};

void saveCounts(const std::string& path, const SummaryLine& c)
{
    std::ofstream(path) << c.written << ' ' << c.skipped << ' ' << c.failed << ' ' << c.workbooksFailed << ' ' << c.bytes;
}

SummaryLine loadCounts(const std::string& path)
{
    SummaryLine c;
    std::ifstream(path) >> c.written >> c.skipped >> c.failed >> c.workbooksFailed >> c.bytes;
    return c;
}

void redirect(int fd, const std::string& path)
{
    const int to = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (to >= 0) {
        ::dup2(to, fd);
        ::close(to);
    }
}

// One worker: takes groups from the shared counter until none is left, and
// tells the parent each segment it finished through `notify`.
void work(const Options& options, const tasklist::TaskList& list, const split::RunOptions& runOptions,
          const std::vector<RowName>& names, RepairReport& repairs, const std::vector<Segment>& segments,
          const std::vector<std::vector<int>>& groups, std::atomic<int>& next, const Capture& capture, int notify)
{
    const int out = ::dup(STDOUT_FILENO), err = ::dup(STDERR_FILENO);
    excel::Application app;
    TerminalPrompter prompter;
    configure(app, options, prompter);
    for (int g; (g = next.fetch_add(1)) < static_cast<int>(groups.size());) {
        for (const int s : groups[static_cast<std::size_t>(g)]) {
            const Segment seg = segments[static_cast<std::size_t>(s)];
            redirect(STDOUT_FILENO, capture.path(s, "out"));
            redirect(STDERR_FILENO, capture.path(s, "err"));
            Outcomes outcomes(options.json, false);
            const auto from = names.begin() + (names.empty() ? 0 : seg.first - 1);
            const std::vector<RowName> part(from, names.empty() ? from : from + seg.count);
            runRows(app, list.slice(seg.first, seg.count), runOptions, part, repairs, outcomes, false);
            std::fflush(stdout);
            std::fflush(stderr);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(err, STDERR_FILENO);
            saveCounts(capture.path(s, "counts"), outcomes.counts());
            if (::write(notify, &s, sizeof s) != sizeof s)
                std::_Exit(3);
        }
    }
}

void copyOut(const std::string& path, std::FILE* to)
{
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), {});
    std::fwrite(text.data(), 1, text.size(), to);
    std::fflush(to);
}

}  // namespace

void runInParallel(const Options& options, const tasklist::TaskList& list, const split::RunOptions& runOptions,
                   const std::vector<RowName>& names, RepairReport& repairs, Outcomes& outcomes)
{
    const std::vector<Segment> segments = segmentsOf(list);
    const auto groups = folderGroups(list, segments, runOptions.chosenFolder, names.empty());
    const char* tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/tamberlin-split.XXXXXX";
    int pipeFds[2];
    void* shared = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (!::mkdtemp(dir.data()) || ::pipe(pipeFds) != 0 || shared == MAP_FAILED) {
        std::fprintf(stderr, "tamberlin-split: cannot start the worker processes; splitting in this one.\n");
        excel::Application app;
        TerminalPrompter prompter;
        configure(app, options, prompter);
        runRows(app, list, runOptions, names, repairs, outcomes, false);
        return;
    }
    const Capture capture{dir};
    auto* next = new (shared) std::atomic<int>(0);
    std::fflush(stdout);
    std::fflush(stderr);
    std::vector<pid_t> workers;
    const int count = std::min<int>(options.jobs, static_cast<int>(groups.size()));
    for (int k = 0; k < count; ++k) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::close(pipeFds[0]);
            try {
                work(options, list, runOptions, names, repairs, segments, groups, *next, capture, pipeFds[1]);
            } catch (...) {
                std::_Exit(3);
            }
            std::_Exit(0);
        }
        if (pid > 0)
            workers.push_back(pid);
    }
    ::close(pipeFds[1]);

    // Each segment is printed once it and every one before it are done. A
    // worker that died leaves its segment without counts: a failure.
    std::vector<bool> done(segments.size(), false);
    std::size_t printed = 0;
    auto printReady = [&] {
        for (; printed < segments.size() && done[printed]; ++printed) {
            const int s = static_cast<int>(printed);
            copyOut(capture.path(s, "out"), stdout);
            copyOut(capture.path(s, "err"), stderr);
            if (std::filesystem::exists(capture.path(s, "counts"))) {
                outcomes.add(loadCounts(capture.path(s, "counts")));
                continue;
            }
            const std::string source = list.row(segments[printed].first).SourceFileName;
            std::fprintf(stderr, "tamberlin-split: %s: not split: its worker process ended early.\n", source.c_str());
            outcomes.failed(source, {}, "not split: its worker process ended early");
        }
    };
    for (int s; ::read(pipeFds[0], &s, sizeof s) == sizeof s;) {
        if (s >= 0 && static_cast<std::size_t>(s) < done.size())
            done[static_cast<std::size_t>(s)] = true;
        printReady();
    }
    ::close(pipeFds[0]);
    for (const pid_t pid : workers)
        ::waitpid(pid, nullptr, 0);
    done.assign(done.size(), true);
    printReady();
    ::munmap(shared, sizeof(std::atomic<int>));
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
}

}  // namespace cli
