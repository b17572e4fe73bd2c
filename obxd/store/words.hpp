// The words that patterns match, counted and numbered: how a text is made up where there is a pattern.
#pragma once

#include <stdint.h>

#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "store/expression.hpp"
#include "store/limits.hpp"

namespace obxd {

/// The words of printable ASCII, as long as one of some sizes says, that at least one of some expressions
/// matches: shorter ones first, then by their characters, digits and letters before others. A word stands
/// there once, however many ways there are to match it.
class Words {
public:
    Words(std::vector<Expression> expressions, const std::vector<Size>& sizes);

    /// How many there are, those counted that are not too long; at most MOST.
    uint64_t count() const { return count_; }
    /// The word of that number, from 0 to less than count().
    std::string word(uint64_t number);

    static constexpr uint64_t MOST = uint64_t{1} << 40;

private:
    /// Where the expressions can stand behind the same text, as a matcher without ways to choose: the steps
    /// that wait for a character, those of an expression behind all those before it.
    struct State {
        bool accepts = false;
        bool known = false;  ///< `next` is filled
        std::vector<uint32_t> steps;
        std::vector<std::pair<char, uint32_t>> next;  ///< by the characters in their order
        std::vector<uint64_t> counts;                 ///< words to the end, by their length; NOT_YET for some
    };

    /// An order of what states are known by. (Where the byte order is big, libstdc++ 12 takes vectors of
    /// unsigned numbers for equal whose first bytes are.)
    struct Before {
        using Key = std::pair<bool, std::vector<uint32_t>>;
        bool operator()(const Key& one, const Key& other) const;
    };

    std::pair<const Program*, uint32_t> place_of(uint32_t step) const;
    const CharSet& set_of(uint32_t step) const;
    void follow(uint32_t step, bool begin, bool end, std::vector<bool>& seen, State& state) const;
    State state_behind(const std::vector<uint32_t>& steps, bool begin) const;
    uint32_t state_of(State state);
    void state_fill(uint32_t number);
    uint64_t words_of(uint32_t state, size_t length);

    std::vector<Expression> expressions_;
    std::vector<uint32_t> starts_;  ///< of the expressions, among the steps of all of them
    uint32_t steps_ = 0;
    std::deque<State> states_;
    std::map<std::pair<bool, std::vector<uint32_t>>, uint32_t, Before> numbers_;
    std::vector<std::pair<size_t, uint64_t>> lengths_;  ///< those that have words, and how many
    uint64_t count_ = 0;
};

}  // namespace obxd
