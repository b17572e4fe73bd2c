// The history's file, whatever stands in it: what was loaded is loaded again from the file that is written.
#include <string.h>

#include <vector>

#include "fuzz.hpp"
#include "ox_history.hpp"

namespace {

std::vector<std::string> entries() {
    std::vector<std::string> found;
    for (int age = 0; const char* entry = ox_history_get(age); age++) found.emplace_back(entry);
    return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    ox_history_clear();
    ox_history_load(file_of(input.rest()).c_str());
    std::vector<std::string> loaded = entries();
    for (size_t i = 1; i < loaded.size();) {  // the file holds none twice in a row
        if (loaded[i] == loaded[i - 1]) {
            loaded.erase(loaded.begin() + static_cast<long>(i));
        } else {
            i++;
        }
    }
    const std::string& copy = second_file();
    REQUIRE(ox_history_dump(copy.c_str(), -1) == 0);
    ox_history_clear();
    REQUIRE(ox_history_load(copy.c_str()) == 0 || loaded.empty());
    REQUIRE(entries() == loaded);
    return 0;
}
