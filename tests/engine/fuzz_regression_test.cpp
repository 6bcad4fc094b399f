// Replays through the fuzz targets' own engine paths every input that once
// broke the engine (tests/data/fuzz-regressions/<target>/) and every seed of
// the fuzzers (fuzz/corpus/<target>/). A regression aborts or trips a
// sanitizer here, in every build and in the sanitizer build of the suite.

#include "EngineRuns.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Run = void (*)(const std::uint8_t*, std::size_t);

struct Target {
    const char* name;
    Run run;
};

const Target kTargets[] = {{"ooxml_list", &fuzz::listOoxml},
                           {"ooxml_copy", &fuzz::copyOoxml},
                           {"formula", &fuzz::rewriteFormula},
                           {"cfb_list", &fuzz::listCompoundFile},
                           {"biff_copy", &fuzz::copyBiff},
                           {"encrypted_copy", &fuzz::copyEncrypted}};

std::size_t replay(const fs::path& folder, Run run)
{
    std::size_t n = 0;
    if (!fs::is_directory(folder))
        return n;
    for (const auto& e : fs::directory_iterator(folder)) {
        if (!e.is_regular_file() || e.path().filename().string().starts_with("."))
            continue;
        SCOPED_TRACE(e.path().string());
        std::ifstream in(e.path(), std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++n;
    }
    return n;
}

}  // namespace

TEST(FuzzRegressions, EveryCommittedCrasherIsHandled)
{
    for (const auto& t : kTargets) {
        SCOPED_TRACE(t.name);
        replay(fs::path(TB_TEST_DATA) / "fuzz-regressions" / t.name, t.run);
    }
}

TEST(FuzzRegressions, EverySeedIsHandled)
{
    for (const auto& t : kTargets) {
        SCOPED_TRACE(t.name);
        EXPECT_GT(replay(fs::path(TB_FUZZ_DIR) / "corpus" / t.name, t.run), 0u) << "no seeds for " << t.name;
    }
}
