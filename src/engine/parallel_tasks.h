#pragma once
// Independent tasks on a number of threads, each thread taking the next task as it finishes
// one. A task that runs out of memory is reported, not fatal.

#include <cstddef>
#include <functional>
#include <vector>

// Runs task(0) ... task(count - 1); returns the indices of the tasks that ran out of memory.
std::vector<size_t> runParallelTasks(int threads, size_t count, const std::function<void(size_t)>& task);
