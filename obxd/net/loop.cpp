#include "net/loop.hpp"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace obxd {

namespace {

constexpr uint64_t TAG_WAKE = 0;
constexpr uint64_t TAG_SIGNAL = 1;
constexpr int MAX_JOBS = 32;
constexpr int MAX_EVENTS = 512;  // so that few rounds reach whoever waits

}  // namespace

/// Outlives the loop while a thread still works for it.
struct JobQueue {
    std::mutex lock;
    std::vector<std::function<void()>> done;
    int running = 0;
    int wake_fd = -1;
};

namespace {

struct Job {
    std::shared_ptr<JobQueue> queue;
    std::function<void()> work;
    std::function<void()> done;
};

void* run_job(void* argument) {
    std::unique_ptr<Job> job(static_cast<Job*>(argument));
    job->work();
    job->work = nullptr;
    std::lock_guard<std::mutex> guard(job->queue->lock);
    job->queue->running--;
    if (job->queue->wake_fd < 0) return nullptr;
    job->queue->done.push_back(std::move(job->done));
    uint64_t one = 1;
    ssize_t written = write(job->queue->wake_fd, &one, sizeof one);
    (void)written;  // a full counter wakes as well
    return nullptr;
}

void finish_jobs(Loop& loop) {
    uint64_t count = 0;
    ssize_t got = read(loop.wake_fd, &count, sizeof count);
    (void)got;
    std::vector<std::function<void()>> done;
    {
        std::lock_guard<std::mutex> guard(loop.jobs->lock);
        done.swap(loop.jobs->done);
    }
    for (auto& action : done) action();
}

void run_timers(Loop& loop) {
    int64_t now = now_ms();
    while (!loop.timers.empty() && loop.timers.begin()->first <= now) {
        auto action = std::move(loop.timers.begin()->second);
        loop.timers.erase(loop.timers.begin());
        action();
    }
}

int wait_time(const Loop& loop, bool busy) {
    if (busy) return 0;
    if (loop.timers.empty()) return -1;
    int64_t left = loop.timers.begin()->first - now_ms();
    return static_cast<int>(std::clamp<int64_t>(left, 0, 60000));
}

}  // namespace

int64_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

Loop::~Loop() {
    if (jobs) {
        std::lock_guard<std::mutex> guard(jobs->lock);
        jobs->wake_fd = -1;
    }
    for (int fd : {epoll_fd, signal_fd, wake_fd}) {
        if (fd >= 0) close(fd);
    }
}

int loop_open(Loop& loop) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    loop.epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    loop.signal_fd = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    loop.wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (loop.epoll_fd < 0 || loop.signal_fd < 0 || loop.wake_fd < 0) return -1;
    loop.jobs = std::make_shared<JobQueue>();
    loop.jobs->wake_fd = loop.wake_fd;
    if (loop_watch(loop, loop.wake_fd, TAG_WAKE, EPOLLIN) < 0) return -1;
    return loop_watch(loop, loop.signal_fd, TAG_SIGNAL, EPOLLIN);
}

int loop_watch(Loop& loop, int fd, uint64_t tag, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = tag;
    return epoll_ctl(loop.epoll_fd, EPOLL_CTL_ADD, fd, &event);
}

int loop_change(Loop& loop, int fd, uint64_t tag, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = tag;
    return epoll_ctl(loop.epoll_fd, EPOLL_CTL_MOD, fd, &event);
}

void loop_unwatch(Loop& loop, int fd) {
    epoll_ctl(loop.epoll_fd, EPOLL_CTL_DEL, fd, nullptr);
}

void loop_after(Loop& loop, int64_t delay_ms, std::function<void()> action) {
    // One more for the part of a millisecond that has passed already: never early.
    loop.timers.emplace(now_ms() + delay_ms + 1, std::move(action));
}

bool loop_start_job(Loop& loop, std::function<void()> work, std::function<void()> done) {
    {
        std::lock_guard<std::mutex> guard(loop.jobs->lock);
        if (loop.jobs->running >= MAX_JOBS) return false;
        loop.jobs->running++;
    }
    auto job = std::make_unique<Job>(Job{loop.jobs, std::move(work), std::move(done)});
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int failed = pthread_create(&thread, &attributes, run_job, job.get());
    pthread_attr_destroy(&attributes);
    if (failed) {
        std::lock_guard<std::mutex> guard(loop.jobs->lock);
        loop.jobs->running--;
        return false;
    }
    job.release();  // NOLINT(bugprone-unused-return-value): the thread owns it now
    return true;
}

void loop_run(Loop& loop, const std::function<void(uint64_t tag, uint32_t events)>& on_event,
              const std::function<bool()>& on_turn) {
    bool busy = false;
    while (!loop.stopping) {
        epoll_event events[MAX_EVENTS];
        int count = epoll_wait(loop.epoll_fd, events, MAX_EVENTS, wait_time(loop, busy));
        if (count < 0 && errno != EINTR) return;
        for (int i = 0; i < count; i++) {
            uint64_t tag = events[i].data.u64;
            if (tag == TAG_SIGNAL) {
                loop.stopping = true;
            } else if (tag == TAG_WAKE) {
                finish_jobs(loop);
            } else {
                on_event(tag, events[i].events);
            }
        }
        run_timers(loop);
        busy = on_turn();
    }
}

}  // namespace obxd
