#include "words.hpp"

#include <ctype.h>

#include <algorithm>

namespace obxd {
namespace {

constexpr size_t LENGTH_MAX = 256, STATES_MAX = 4096;
constexpr uint64_t NOT_YET = UINT64_MAX;

/// The characters that words are made of, the plainest first.
const std::string& characters() {
    static const std::string all = [] {
        std::string text;
        for (int rank = 0; rank < 4; rank++)
            for (int c = ' '; c < 127; c++)
                if ((isdigit(c) ? 0 : islower(c) ? 1 : isupper(c) ? 2 : 3) == rank)
                    text += static_cast<char>(c);
        return text;
    }();
    return all;
}

bool set_holds(const CharSet& set, char c) {
    char32_t wanted = static_cast<unsigned char>(c);
    return std::any_of(set.begin(), set.end(),
                       [wanted](auto& range) { return wanted >= range.first && wanted <= range.second; });
}

}  // namespace

bool Words::Before::operator()(const Key& one, const Key& other) const {
    if (one.first != other.first) return other.first;
    auto [mine, theirs] =
        std::mismatch(one.second.begin(), one.second.end(), other.second.begin(), other.second.end());
    return theirs != other.second.end() && (mine == one.second.end() || *mine < *theirs);
}

Words::Words(std::vector<Expression> expressions, const std::vector<Size>& sizes)
    : expressions_(std::move(expressions)) {
    for (const Expression& each : expressions_) {
        starts_.push_back(steps_);
        steps_ += static_cast<uint32_t>(each->steps.size());
    }
    state_of(state_behind(starts_, true));
    for (size_t length = 0; length <= LENGTH_MAX && count_ < MOST; length++) {
        if (!size_fits(sizes, static_cast<json_int_t>(length))) continue;
        uint64_t words = words_of(0, length);
        if (words) lengths_.emplace_back(length, words);
        count_ = std::min(count_ + words, MOST);
    }
}

std::pair<const Program*, uint32_t> Words::place_of(uint32_t step) const {
    auto above = std::upper_bound(starts_.begin(), starts_.end(), step) - 1;
    return {expressions_[static_cast<size_t>(above - starts_.begin())].get(), *above};
}

const CharSet& Words::set_of(uint32_t step) const {
    auto [program, base] = place_of(step);
    return program->sets[program->steps[step - base].x];
}

/// Goes on from a step as long as no character is needed; `begin` and `end`: where the text begins, ends.
void Words::follow(uint32_t step, bool begin, bool end, std::vector<bool>& seen, State& state) const {
    std::vector<uint32_t> open{step};
    while (!open.empty()) {
        uint32_t at = open.back();
        open.pop_back();
        if (seen[at]) continue;
        seen[at] = true;
        auto [program, base] = place_of(at);
        const Step& each = program->steps[at - base];
        if (each.kind == Step::CHARS) state.steps.push_back(at);
        if (each.kind == Step::MATCH) state.accepts = true;
        if (each.kind == Step::FORK || each.kind == Step::JUMP) open.push_back(base + each.x);
        if (each.kind == Step::FORK) open.push_back(base + each.y);
        if ((each.kind == Step::BEGIN && begin) || (each.kind == Step::END && end)) open.push_back(at + 1);
    }
}

Words::State Words::state_behind(const std::vector<uint32_t>& steps, bool begin) const {
    State state, ended;
    std::vector<bool> seen(steps_), seen_ended(steps_);
    for (uint32_t step : steps) {
        follow(step, begin, false, seen, state);
        follow(step, begin, true, seen_ended, ended);
    }
    state.accepts = ended.accepts;
    return state;
}

uint32_t Words::state_of(State state) {
    std::sort(state.steps.begin(), state.steps.end());
    auto [place, fresh] =
        numbers_.try_emplace({state.accepts, state.steps}, static_cast<uint32_t>(states_.size()));
    if (fresh) states_.push_back(std::move(state));
    return place->second;
}

void Words::state_fill(uint32_t number) {
    if (states_[number].known) return;
    states_[number].known = true;
    std::vector<std::pair<char, uint32_t>>& next = states_[number].next;
    std::vector<uint32_t> taken, before;
    for (char c : characters()) {
        taken.clear();
        for (uint32_t at : states_[number].steps)
            if (set_holds(set_of(at), c)) taken.push_back(at + 1);
        if (taken.empty() || states_.size() >= STATES_MAX) continue;
        // Characters that stand side by side lead to the same place most of the time.
        uint32_t behind =
            !next.empty() && taken == before ? next.back().second : state_of(state_behind(taken, false));
        next.emplace_back(c, behind);
        std::swap(taken, before);
    }
}

uint64_t Words::words_of(uint32_t state, size_t length) {
    if (length == 0) return states_[state].accepts ? 1 : 0;
    if (states_[state].counts.size() <= length) states_[state].counts.resize(length + 1, NOT_YET);
    if (states_[state].counts[length] != NOT_YET) return states_[state].counts[length];
    state_fill(state);
    uint64_t words = 0;
    for (auto& [c, behind] : states_[state].next)
        if (words < MOST) words += words_of(behind, length - 1);
    return states_[state].counts[length] = std::min(words, MOST);
}

std::string Words::word(uint64_t number) {
    size_t length = 0;
    for (auto& [each, words] : lengths_) {
        length = each;
        if (number < words) break;
        number -= words;
    }
    std::string word;
    uint32_t state = 0;
    for (; length > 0; length--) {
        state_fill(state);
        for (auto& [c, behind] : states_[state].next) {
            uint64_t words = words_of(behind, length - 1);
            if (number >= words) {
                number -= words;
                continue;
            }
            word += c;
            state = behind;
            break;
        }
    }
    return word;
}

}  // namespace obxd
