#include "parallel.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <thread>
#include <vector>

namespace kvcli {

unsigned worker_count(unsigned requested, uint64_t jobs) {
    unsigned n = requested != 0 ? requested : std::thread::hardware_concurrency();
    if (n == 0) n = 1;
    if (jobs < n) n = jobs == 0 ? 1 : static_cast<unsigned>(jobs);
    return n;
}

void parallel_for(uint32_t jobs, unsigned workers, const std::function<void(uint32_t, unsigned)> &work) {
    std::atomic<uint32_t> next{0};
    std::atomic<bool> stop{false};
    std::exception_ptr failure;
    std::mutex failure_mutex;
    auto body = [&](unsigned worker) {
        while (!stop.load()) {
            const uint32_t job = next.fetch_add(1);
            if (job >= jobs) break;
            try {
                work(job, worker);
            } catch (...) {
                std::lock_guard<std::mutex> lock(failure_mutex);
                if (!failure) failure = std::current_exception();
                stop = true;
            }
        }
    };
    if (workers <= 1) {
        body(0);
    } else {
        std::vector<std::thread> threads;
        for (unsigned w = 0; w < workers; ++w) threads.emplace_back(body, w);
        for (auto &t : threads) t.join();
    }
    if (failure) std::rethrow_exception(failure);
}

Progress::Progress(uint64_t total, bool enabled)
    : total_(total), enabled_(enabled && isatty(STDERR_FILENO) == 1),
      start_(std::chrono::steady_clock::now()), last_draw_(start_) {}

Progress::~Progress() { finish(); }

void Progress::advance() {
    ++done_;
    if (!enabled_) return;
    const auto now = std::chrono::steady_clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (now - last_draw_ < std::chrono::milliseconds(100) && done_.load() < total_) return;
    last_draw_ = now;
    draw(false);
}

void Progress::finish() {
    if (!enabled_) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (drawn_) {
        draw(true);
        std::fputc('\n', stderr);
        drawn_ = false;
    }
    enabled_ = false;
}

void Progress::draw(bool last) {
    const uint64_t done = done_.load();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const double rate = seconds > 0 ? double(done) / seconds : 0;
    char eta[32] = "--:--";
    if (rate > 0 && !last) {
        const auto left = static_cast<long long>(double(total_ - done) / rate + 0.5);
        std::snprintf(eta, sizeof eta, "%lld:%02lld", left / 60, left % 60);
    } else if (last) {
        std::snprintf(eta, sizeof eta, "0:00");
    }
    std::fprintf(stderr, "\rframes %llu/%llu  %.1f frames/s  ETA %s   ", static_cast<unsigned long long>(done),
                 static_cast<unsigned long long>(total_), rate, eta);
    std::fflush(stderr);
    drawn_ = true;
}

}  // namespace kvcli
