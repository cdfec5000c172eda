/// Runs tests of this program in a child process whose descriptor limit is set before any library is loaded: the size of
/// descriptor sets is fixed from then on.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>

/// Names the test by `--gtest_filter` (a DISABLED_ one, which runs nowhere else).
/// @return whether it passed; skips the calling test where the limit cannot be had
inline bool PassesWithDescriptorLimit(rlim_t limit, const std::string& filter) {
    constexpr int REFUSED = 77;
    const std::string argument = "--gtest_filter=" + filter;
    const pid_t child = ::fork();
    if (child == 0) {
        rlimit limits{};
        ::getrlimit(RLIMIT_NOFILE, &limits);
        limits.rlim_cur = limit;
        limits.rlim_max = std::max(limits.rlim_max, limit);
        if (::setrlimit(RLIMIT_NOFILE, &limits) == -1)
            ::_exit(REFUSED);
        ::execl("/proc/self/exe", "child", argument.c_str(), "--gtest_also_run_disabled_tests", "--gtest_brief=1",
                nullptr);
        ::_exit(1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == REFUSED) {
        [&] { GTEST_SKIP() << "the system refuses a descriptor limit of " << limit; }();
        return true;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
