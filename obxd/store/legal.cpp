#include "legal.hpp"

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <time.h>

#include <algorithm>
#include <cmath>

#include "store/value_check.hpp"
#include "store/value_form.hpp"
#include "store/words.hpp"

namespace obxd {
namespace {

constexpr size_t LENGTH_PLAIN = 16;        // of a text with no other reason to be longer
constexpr time_t FIRST_DATE = 1704067200;  // 2024-01-01

struct Steps {
    json_int_t low, high;
    uint64_t step;

    /// How many values it has, less one.
    uint64_t last() const { return (static_cast<uint64_t>(high) - static_cast<uint64_t>(low)) / step; }
    /// Those that are not negative come first.
    json_int_t at(uint64_t number) const {
        uint64_t negative =
            low < 0 && high >= 0 ? (uint64_t{0} - static_cast<uint64_t>(low) + step - 1) / step : 0;
        uint64_t rest = last() - std::min(negative, last());
        uint64_t place = number <= rest ? negative + number : number - rest - 1;
        return static_cast<json_int_t>(static_cast<uint64_t>(low) + place * step);
    }
};

json_int_t step_up(json_int_t low, json_int_t step) {
    json_int_t over = low % step;
    if (over == 0) return low;
    return over > 0 ? low + (step - over) : low - over;
}

/// What an integer may be, in ranges that are not empty.
std::vector<Steps> steps_of(const Limits& limits) {
    IntegerRange own = type_range(limits.type);
    json_int_t least = own.has_min ? own.min : INT64_MIN, most = own.has_max ? own.max : INT64_MAX;
    if (limits.ranges.empty()) return {{least, most, 1}};
    std::vector<Steps> all;
    for (const IntegerRange& range : limits.ranges) {
        json_int_t step = std::max<json_int_t>(range.step, 1);
        json_int_t low = range.has_min        ? range.min
                         : least == INT64_MIN ? least / step * step
                                              : step_up(least, step);
        if (low < least) low += step_up(least - low, step);
        json_int_t high = range.has_max ? std::min(range.max, most) : most;
        if (low <= high) all.push_back({low, high, static_cast<uint64_t>(step)});
    }
    return all;
}

uint64_t steps_count(const std::vector<Steps>& ranges) {
    uint64_t all = 0;
    for (const Steps& range : ranges) all += std::min(range.last(), ValueMaker::MANY) + 1;
    return std::min(all, ValueMaker::MANY);
}

/// The ranges one behind the other.
json_int_t integer_numbered(const std::vector<Steps>& ranges, uint64_t number) {
    number %= steps_count(ranges);
    for (const Steps& range : ranges) {
        if (number <= range.last()) return range.at(number);
        number -= range.last() + 1;
    }
    return 0;
}

double decimal_numbered(const Limits& limits, uint64_t number) {
    DecimalRange range;
    if (!limits.decimal_ranges.empty())
        range = limits.decimal_ranges[static_cast<size_t>(number % limits.decimal_ranges.size())];
    double step = range.step > 0 ? range.step : 0.5;
    double low = range.has_min ? range.min : range.has_max ? range.max - 1000 * step : 0;
    if (!range.has_min) low = std::ceil(low / step) * step;
    double wanted = low + step * static_cast<double>(number % 1000000);
    if (!range.has_max || wanted <= range.max) return wanted;
    if (range.step > 0)
        return low + step * std::floor(std::fmod(static_cast<double>(number), (range.max - low) / step + 1));
    return low + (range.max - low) * static_cast<double>(number % 1024) / 1024;
}

std::string printed(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char* format, ...) {
    char text[96];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

std::string date_numbered(uint64_t number) {
    time_t time = FIRST_DATE + static_cast<time_t>(number % 100000000) * 60;
    struct tm parts;
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&time, &parts));
    return text;
}

std::unique_ptr<Words> words_of(const Limits& limits) {
    std::vector<Expression> expressions;
    for (const Pattern& pattern : limits.patterns)
        if (pattern.program) expressions.push_back(pattern.program);
    return std::make_unique<Words>(std::move(expressions), limits.sizes);
}

/// What people would make up for such a value, the best first.
std::vector<std::string> natural(const Limits& limits, uint64_t number) {
    unsigned n = static_cast<unsigned>(number % 0xfffffe) + 1;
    unsigned high = n >> 16, middle = n >> 8 & 255, low = n & 255;
    switch (limits.type) {
        case OX_TR_ALIAS:
            return {printed("cpe-%u", n)};
        case OX_TR_DATE_TIME:
            return {date_numbered(number)};
        case OX_TR_IP_ADDRESS:
            return {printed("10.%u.%u.%u", high, middle, low),
                    high ? printed("fd00::%x:%x", high, n & 0xffff) : printed("fd00::%x", n)};
        case OX_TR_IP_PREFIX:
            return {printed("10.%u.%u.%u/32", high, middle, low),
                    printed("fd00:0:%x:%x::/64", high, n & 0xffff)};
        case OX_TR_MAC_ADDRESS:
            return {printed("02:00:00:%02x:%02x:%02x", high, middle, low)};
        case OX_TR_URL:
            return {printed("http://127.0.0.1/%u", n)};
        case OX_TR_UUID:
            return {printed("00000000-0000-4000-8000-%012x", n)};
        default:
            return {};
    }
}

constexpr char HEX[] = "0123456789abcdef";
constexpr char BASE64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The number at the end of that many octets.
std::string octets(size_t length, uint64_t number) {
    std::string text(length, '\0');
    for (size_t i = text.size(); i-- > 0 && number; number >>= 8) text[i] = static_cast<char>(number & 255);
    return text;
}

std::string hex_text(const std::string& bytes) {
    std::string text;
    for (unsigned char byte : bytes) {
        text += HEX[byte >> 4];
        text += HEX[byte & 15];
    }
    return text;
}

std::string base64_text(const std::string& bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        unsigned group = 0;
        for (size_t j = i; j < i + 3; j++)
            group = group << 8 | (j < bytes.size() ? static_cast<unsigned char>(bytes[j]) : 0u);
        for (size_t j = 0; j < 4; j++)
            text += j > bytes.size() - i ? '=' : BASE64[group >> (18 - 6 * j) & 63];
    }
    return text;
}

/// The text where it is as long as the size says, else a number as long as that.
std::string text_fitted(const Size& size, std::string text, uint64_t number) {
    size_t least = static_cast<size_t>(size.min);
    size_t most = size.max < 0 ? SIZE_MAX : static_cast<size_t>(size.max);
    if (text.size() >= least && text.size() <= most) return text;
    std::string digits(std::clamp(std::min(text.size(), LENGTH_PLAIN), least, most), '0');
    for (size_t i = digits.size(); i-- > 0 && number; number /= 36)
        digits[i] = "0123456789abcdefghijklmnopqrstuvwxyz"[number % 36];
    return digits;
}

/// The size that leaves most room, up to what is plainly enough.
Size roomiest(const std::vector<Size>& sizes) {
    if (sizes.empty()) return {};
    auto room = [](const Size& size) {
        return size.max < 0 ? LENGTH_PLAIN : std::min(static_cast<size_t>(size.max), LENGTH_PLAIN);
    };
    return *std::max_element(sizes.begin(), sizes.end(),
                             [&](const Size& one, const Size& other) { return room(one) < room(other); });
}

std::string sized(const Limits& limits, const std::string& name, uint64_t number) {
    Size size = roomiest(limits.sizes);
    if (limits.type != OX_TR_HEX_BINARY && limits.type != OX_TR_BASE64)
        return text_fitted(size, name + "-" + std::to_string(number + 1), number);
    json_int_t length = std::max<json_int_t>(size.max < 0 ? 4 : std::min<json_int_t>(4, size.max), size.min);
    std::string bytes = octets(static_cast<size_t>(length), number + 1);
    return limits.type == OX_TR_HEX_BINARY ? hex_text(bytes) : base64_text(bytes);
}

std::string item_text(const json_t* value) {
    if (json_is_string(value)) return json_string_value(value);
    CharsRef dump(json_dumps(value, JSON_ENCODE_ANY));
    return dump.get();
}

/// What bounds an item of a list.
std::shared_ptr<const Limits> item_limits(const Limits& list) {
    auto item = std::make_shared<Limits>();
    item->type = list.type;
    item->family = list.family;
    item->ranges = list.ranges;
    item->decimal_ranges = list.decimal_ranges;
    item->sizes = list.sizes;
    item->patterns = list.patterns;
    for (const Choice& choice : list.choices) {
        Choice same;
        same.value.reset(json_incref(choice.value.get()));
        same.status = choice.status;
        same.read_only = choice.read_only;
        item->choices.push_back(std::move(same));
    }
    item->from = list.from;
    item->targets = list.targets;
    item->target_type = list.target_type;
    item->weak = list.weak;
    return item;
}

}  // namespace

struct ValueMaker::Kind {
    std::vector<json_t*> choices;  ///< borrowed
    std::vector<Steps> steps;      ///< of an integer
    std::unique_ptr<Words> words;  ///< made when they are needed first
    std::unique_ptr<Schema> item;  ///< of a list: a parameter with the limits of an item

    explicit Kind(const Schema* parameter) {
        const Limits& limits = *parameter->limits;
        for (const Choice& choice : limits.choices)
            if (parameter->writable ? choice_offered(choice) : choice.status != Status::DELETED)
                choices.push_back(choice.value.get());
        if (type_is_integer(limits.type)) steps = steps_of(limits);
        if (!limits.list) return;
        item = std::make_unique<Schema>();
        item->kind = Schema::PARAMETER;
        item->name = parameter->name;
        item->writable = parameter->writable;
        if (limits.inner) {
            item->limits = limits.inner;
            return;
        }
        item->limits = item_limits(limits);
    }
};

ValueMaker::ValueMaker(Model& model) : model_(model) {}
ValueMaker::~ValueMaker() = default;

ValueMaker::Kind& ValueMaker::kind_of(const Schema* parameter) {
    std::unique_ptr<Kind>& kind = kinds_[parameter->writable ? 1 : 0][parameter->limits.get()];
    if (!kind) kind = std::make_unique<Kind>(parameter);
    return *kind;
}

bool ValueMaker::takes(const Schema* parameter, const json_t* value) {
    std::string why;
    return value_check(model_, parameter, nullptr, value, why) == 0;
}

uint64_t ValueMaker::count(const Schema* parameter) {
    const Limits& limits = *parameter->limits;
    if (limits.list || limits.type == OX_TR_DECIMAL) return MANY;
    Kind& kind = kind_of(parameter);
    if (!kind.choices.empty()) return kind.choices.size();
    if (type_is_boolean(limits.type)) return 2;
    return type_is_integer(limits.type) ? steps_count(kind.steps) : MANY;
}

json_t* ValueMaker::text(Kind& kind, const Schema* parameter, uint64_t number) {
    const Limits& limits = *parameter->limits;
    JsonRef value;
    auto fits = [&](const std::string& made) {
        value.reset(json_string(made.c_str()));
        return takes(parameter, value);
    };
    for (const std::string& made : natural(limits, number))
        if (fits(made)) return value.release();
    if (!limits.patterns.empty()) {
        if (!kind.words) kind.words = words_of(limits);
        // The empty word is nobody's choice where there are others.
        uint64_t count = kind.words->count(), first = count > 1 && kind.words->word(0).empty() ? 1 : 0;
        if (count && fits(kind.words->word(first + number % (count - first)))) return value.release();
    }
    bool elsewhere = limits.type == OX_TR_PATH_REF || !limits.from.empty();
    if (!elsewhere && fits(sized(limits, parameter->name, number))) return value.release();
    if (fits("")) return value.release();
    return nullptr;
}

json_t* ValueMaker::numbered(const Schema* parameter, uint64_t number) {
    const Limits& limits = *parameter->limits;
    Kind& kind = kind_of(parameter);
    if (limits.list) return list(kind, parameter, number);
    if (!kind.choices.empty())
        return json_incref(kind.choices[static_cast<size_t>(number % kind.choices.size())]);
    if (type_is_integer(limits.type))
        return kind.steps.empty() ? nullptr : json_integer(integer_numbered(kind.steps, number));
    if (type_is_boolean(limits.type)) return json_boolean(number % 2 == 0);
    if (limits.type == OX_TR_DECIMAL) return json_real(decimal_numbered(limits, number));
    if (limits.type == OX_TR_JSON) return json_pack("{s:I}", "Number", static_cast<json_int_t>(number));
    return text(kind, parameter, number);
}

/// The items of a list follow each other; one, or as many as it must have.
json_t* ValueMaker::list(Kind& kind, const Schema* parameter, uint64_t number) {
    const Limits& limits = *parameter->limits;
    uint64_t count = std::max<uint64_t>(1, static_cast<uint64_t>(limits.items.min));
    std::string plain, bracketed;
    for (uint64_t i = 0; i < count; i++) {
        JsonRef item(numbered(kind.item.get(), number * count + i));
        if (!item) break;
        std::string text = item_text(item);
        plain += (i ? "," : "") + text;
        bracketed += (i ? ",[" : "[") + text + "]";
    }
    bool brackets = limits.inner && limits.brackets != Brackets::PROHIBITED;
    JsonRef value(json_string((brackets ? bracketed : plain).c_str()));
    // Items with commas of their own need brackets in any list.
    if (!takes(parameter, value)) value.reset(json_string(bracketed.c_str()));
    if (!takes(parameter, value)) value.reset(json_string(""));
    return takes(parameter, value) ? value.release() : nullptr;
}

json_t* ValueMaker::plain(const Schema* parameter) {
    JsonRef empty(value_empty(limits_type(*parameter->limits)));
    return takes(parameter, empty) ? empty.release() : numbered(parameter, 0);
}

}  // namespace obxd
