#include "device/password.hpp"

#include <algorithm>
#include <memory>
#include <tuple>

#include "users/hash.hpp"

namespace obxd {

namespace {

constexpr size_t MAX_WAITING = 1024;
constexpr size_t MAX_SOURCES = 4096;
constexpr int64_t AFTER_WRONG_MS = 50;
constexpr int64_t RETRY_MS = 50;

void start_next(Device& device);

void start_later(Device& device, int64_t delay_ms) {
    if (device.passwords.timed) return;
    device.passwords.timed = true;
    loop_after(device.loop, delay_ms, [&device] {
        device.passwords.timed = false;
        start_next(device);
    });
}

// The next check whose turn it is; the end where there is none now, and then `wait_ms` is set to when there
// will be (-1: when a running one ends).
std::list<PasswordCheck>::iterator find_next(PasswordGate& gate, int64_t& wait_ms) {
    int64_t now = now_ms();
    auto next = gate.waiting.end();
    wait_ms = -1;
    auto rank = [&gate](const PasswordCheck& check) {
        return std::tuple(gate.sources[check.source].last, check.failures);
    };
    for (auto check = gate.waiting.begin(); check != gate.waiting.end(); ++check) {
        bool root = check->source.empty();
        if (root ? gate.running_of_root > 0 : gate.running > 0) continue;
        if (root) return check;
        int64_t left = gate.sources[check->source].not_yet - now;
        if (left > 0)
            wait_ms = wait_ms < 0 ? left : std::min(wait_ms, left);
        else if (next == gate.waiting.end() || rank(*check) < rank(*next))
            next = check;
    }
    return next;
}

// The sources whose last check was so long ago that it means nothing any more.
void forget_sources(PasswordGate& gate) {
    if (gate.sources.size() < MAX_SOURCES) return;
    int64_t now = now_ms();
    std::erase_if(gate.sources, [now](const auto& entry) { return entry.second.last < now - 1000; });
}

void finish(Device& device, const PasswordCheck& check, bool matches) {
    PasswordGate& gate = device.passwords;
    (check.source.empty() ? gate.running_of_root : gate.running)--;
    if (!matches && !check.source.empty()) gate.sources[check.source].not_yet = now_ms() + AFTER_WRONG_MS;
    check.done(matches);
    start_next(device);
}

bool start(Device& device, const std::shared_ptr<PasswordCheck>& check) {
    auto matches = std::make_shared<bool>(false);
    return loop_start_job(
        device.loop, [check, matches] { *matches = password_matches(check->hash, check->password); },
        [&device, check, matches] { finish(device, *check, *matches); });
}

void start_next(Device& device) {
    PasswordGate& gate = device.passwords;
    for (;;) {
        int64_t wait_ms = -1;
        auto next = find_next(gate, wait_ms);
        if (next == gate.waiting.end()) {
            if (wait_ms >= 0) start_later(device, wait_ms);
            return;
        }
        if (!start(device, std::make_shared<PasswordCheck>(*next))) return start_later(device, RETRY_MS);
        (next->source.empty() ? gate.running_of_root : gate.running)++;
        gate.sources[next->source].last = now_ms();
        gate.waiting.erase(next);
    }
}

}  // namespace

bool password_check(Device& device, PasswordCheck check) {
    PasswordGate& gate = device.passwords;
    if (gate.waiting.size() >= MAX_WAITING) return false;
    forget_sources(gate);
    check.source = device.asker.source;
    gate.waiting.push_back(std::move(check));
    start_next(device);
    return true;
}

}  // namespace obxd
