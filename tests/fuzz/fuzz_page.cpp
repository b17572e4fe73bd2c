// Pages about nodes, of any attributes and at any width: no row is wider than the screen unless a single word
// is.
#include "fuzz.hpp"
#include "ox_raii.hpp"
#include "ox_tr_page.hpp"
#include "ox_tr_referrers.hpp"

namespace {

constexpr size_t LABELS = 12;  // columns in front of what a row says
constexpr unsigned NARROWEST = 20;

size_t columns_of(std::string_view text) {
    size_t columns = 0;
    for (char c : text) columns += (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    return columns;
}

json_t* read(const std::string& text) {
    return json_loadb(text.data(), text.size(), 0, nullptr);
}

}  // namespace

// Lines: the attributes behind a byte for the width, the list of a method's arguments, and a schema.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    unsigned columns = input.number(200);
    JsonRef attributes(read(input.text()));
    JsonRef inputs(read(input.text()));
    JsonRef schema(read(input.text()));
    JsonRef referrers(ox_tr_referrers_new(schema, "Device.X"));
    CharsRef page(ox_tr_page_new("Device.X", attributes, inputs, referrers, columns));
    REQUIRE(page.get());
    std::string text = page.get();
    Input rows(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    REQUIRE(rows.text() == "Device.X");
    while (rows.left()) {
        std::string row = rows.text();
        if (columns_of(row) <= (columns < NARROWEST ? NARROWEST : columns)) continue;
        size_t blank = row.rfind(' ');
        REQUIRE(blank == std::string::npos || blank < LABELS);
    }
    return 0;
}
