#pragma once

#include <functional>

/// Runs `work` in a child process that has a network namespace of its own, in which only the loopback interface is there,
/// up, and takes every address. The caller has no other threads.
/// @param work  returns 0 for success; may use EXPECT_..., whose failures count as well
/// @return the child's exit status; OWN_NETWORK_REFUSED where the system gives no namespace: the test says skipped then
int RunInOwnNetwork(const std::function<int()>& work);

constexpr int OWN_NETWORK_REFUSED = 77;
