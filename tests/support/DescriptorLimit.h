/// Runs tests of this program in a child process whose descriptor limit is set before any library is loaded: the size of
/// descriptor sets is fixed from then on.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/ChildProcess.h"

/// Names the test by `--gtest_filter` (a DISABLED_ one, which runs nowhere else).
/// @return whether it passed; skips the calling test where the limit cannot be had
inline bool PassesWithDescriptorLimit(int limit, const std::string& filter) {
    constexpr int REFUSED = 77;
    const std::string number = std::to_string(limit);
    const std::string script = "ulimit -S -n " + number + " || ulimit -n " + number + " || exit 77; exec \"$0\" \"$@\"";
    const Finished ran = RunProgram({"/bin/sh", "-c", script, std::filesystem::read_symlink("/proc/self/exe"),
                                     "--gtest_filter=" + filter, "--gtest_also_run_disabled_tests", "--gtest_brief=1"});
    if (ran.status == REFUSED)
        [&] { GTEST_SKIP() << "the system refuses a descriptor limit of " << limit; }();
    else if (ran.status != 0)
        std::cout << ran.output << ran.errors;
    return ran.status == 0 || ran.status == REFUSED;
}
