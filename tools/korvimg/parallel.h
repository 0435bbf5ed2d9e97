// Frames in parallel, and progress shown on a terminal.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>

namespace kvcli {

// Number of worker threads: `requested` if nonzero, else one per core, never more
// than `jobs`.
unsigned worker_count(unsigned requested, uint64_t jobs);

// Calls work(job, worker) for every job in 0..jobs-1 on `workers` threads (worker is
// 0..workers-1; each worker calls it for one job at a time). The first exception
// stops the remaining jobs and is rethrown here once all threads have ended.
void parallel_for(uint32_t jobs, unsigned workers, const std::function<void(uint32_t, unsigned)> &work);

// "frames done, frames/s, time left" on stderr, redrawn in place at most ten times a
// second; silent when stderr is not a terminal or when disabled.
class Progress {
  public:
    Progress(uint64_t total, bool enabled);
    ~Progress();
    void advance();  // one more frame done (any thread)
    void finish();   // ends the line

  private:
    void draw(bool last);
    uint64_t total_;
    bool enabled_;
    bool drawn_ = false;
    std::atomic<uint64_t> done_{0};
    std::mutex mutex_;
    std::chrono::steady_clock::time_point start_, last_draw_;
};

}  // namespace kvcli
