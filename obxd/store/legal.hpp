// Made-up values: legal for their parameters, and as different from each other as these allow.
#pragma once

#include <stdint.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/model.hpp"

namespace obxd {

class ValueMaker {
public:
    explicit ValueMaker(Model& model);
    ~ValueMaker();
    ValueMaker(const ValueMaker&) = delete;

    /// A value that the parameter takes, a new reference; null where none is found. Those of other numbers
    /// (from 0 on) are others, as long as the parameter has some left. What depends on other values is left
    /// out: a reference, or what another parameter has the choices of, is empty, or else null.
    json_t* numbered(const Schema* parameter, uint64_t number);
    /// The same, but the empty value (0, false, "", ...) where that is legal.
    json_t* plain(const Schema* parameter);
    /// How many different values there are, for those that have few; else MANY.
    uint64_t count(const Schema* parameter);
    /// Whether the parameter takes it, whatever other values there are.
    bool takes(const Schema* parameter, const json_t* value);

    static constexpr uint64_t MANY = uint64_t{1} << 40;

private:
    struct Kind;  ///< what is known of the parameters that share their limits
    Kind& kind_of(const Schema* parameter);
    json_t* list(Kind& kind, const Schema* parameter, uint64_t number);
    json_t* text(Kind& kind, const Schema* parameter, uint64_t number);

    Model& model_;
    std::unordered_map<const Limits*, std::unique_ptr<Kind>> kinds_[2];  ///< of read-only ones, of others
};

}  // namespace obxd
