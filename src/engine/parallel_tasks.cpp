#include "engine/parallel_tasks.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <thread>

std::vector<size_t> runParallelTasks(int threads, size_t count, const std::function<void(size_t)>& task) {
    std::atomic<size_t> next{0};
    std::mutex failedLock;
    std::vector<size_t> failed;
    const auto work = [&] {
        for (size_t i = next++; i < count; i = next++) {
            try {
                task(i);
            } catch (const std::bad_alloc&) {
                std::lock_guard<std::mutex> lock(failedLock);
                failed.push_back(i);
            }
        }
    };
    const size_t helpers = std::min(count, static_cast<size_t>(std::max(1, threads))) - (count > 0 ? 1 : 0);
    std::vector<std::thread> pool;
    for (size_t t = 0; t < helpers; ++t) pool.emplace_back(work);
    work();
    for (std::thread& thread : pool) thread.join();
    std::sort(failed.begin(), failed.end());
    return failed;
}
