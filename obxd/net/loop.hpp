// The daemon's one loop: descriptors, timers, and jobs that run on threads of their own.
//
// Everything but the work of a job runs on the thread that calls loop_run.
#pragma once

#include <stdint.h>

#include <functional>
#include <map>
#include <memory>

namespace obxd {

struct JobQueue;

struct Loop {
    int epoll_fd = -1;
    int signal_fd = -1;
    int wake_fd = -1;
    bool stopping = false;
    std::multimap<int64_t, std::function<void()>> timers;  ///< by deadline
    std::shared_ptr<JobQueue> jobs;

    Loop() = default;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    ~Loop();
};

/// Milliseconds of the monotonic clock.
int64_t now_ms();

/// Creates the descriptors and blocks SIGTERM and SIGINT, which end the loop from then on. 0, or -1 with
/// errno.
int loop_open(Loop& loop);

/// Watches `fd`; its events are handed to loop_run's function under `tag` (which must not be 0 or 1).
int loop_watch(Loop& loop, int fd, uint64_t tag, uint32_t events);
int loop_change(Loop& loop, int fd, uint64_t tag, uint32_t events);
void loop_unwatch(Loop& loop, int fd);

/// Calls `action` once after `delay_ms`.
void loop_after(Loop& loop, int64_t delay_ms, std::function<void()> action);

/// Runs `work` on a thread, then `done` on the loop. What they share belongs to both closures. False when too
/// many jobs are running already (neither is called then).
bool loop_start_job(Loop& loop, std::function<void()> work, std::function<void()> done);

/// Serves until a signal ends it. `on_event` takes a tag and its epoll events; `on_turn` runs once after each
/// round of events and returns true when it has work left, so that the next round does not wait.
void loop_run(Loop& loop, const std::function<void(uint64_t tag, uint32_t events)>& on_event,
              const std::function<bool()>& on_turn);

}  // namespace obxd
