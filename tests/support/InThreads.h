#pragma once

#include <thread>
#include <vector>

/// Runs `work` in `count` threads at the same time and waits for them. @param work  is handed the number of its thread
template <class Work>
void InThreads(int count, const Work& work) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&work, i] { work(i); });
}
