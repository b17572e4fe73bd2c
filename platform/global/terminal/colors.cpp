#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_colors.hpp"
#include "screen.hpp"

namespace {

bool enabled = false;

struct Rgb {
    int red, green, blue;
};

Rgb rgb_of(ox_hsv colour) {
    int hue = colour.hue % 360;
    int saturation = colour.saturation > 100 ? 100 : colour.saturation;
    int value = colour.value > 100 ? 100 : colour.value;
    int high = (value * 255 + 50) / 100;
    int low = (value * (100 - saturation) * 255 + 5000) / 10000;
    int within = hue % 60;
    int rising = low + ((high - low) * within + 30) / 60;
    int falling = high - ((high - low) * within + 30) / 60;
    switch (hue / 60) {
        case 0:
            return {high, rising, low};
        case 1:
            return {falling, high, low};
        case 2:
            return {low, high, rising};
        case 3:
            return {low, falling, high};
        case 4:
            return {rising, low, high};
        default:
            return {high, low, falling};
    }
}

/// The nearest entry of the 256 colours: the 6 x 6 x 6 cube or the 24 greys.
int index_256(Rgb rgb) {
    static const int levels[] = {0, 95, 135, 175, 215, 255};
    auto nearest = [](int component) {
        int best = 0;
        for (int i = 1; i < 6; i++) {
            if (abs(component - levels[i]) < abs(component - levels[best])) best = i;
        }
        return best;
    };
    auto distance = [rgb](int red, int green, int blue) {
        return (rgb.red - red) * (rgb.red - red) + (rgb.green - green) * (rgb.green - green) +
               (rgb.blue - blue) * (rgb.blue - blue);
    };
    int red = nearest(rgb.red);
    int green = nearest(rgb.green);
    int blue = nearest(rgb.blue);
    int mean = (rgb.red + rgb.green + rgb.blue) / 3;
    int grey = mean < 8 ? 0 : mean > 238 ? 23 : (mean - 3) / 10;
    int level = 8 + 10 * grey;
    if (distance(level, level, level) < distance(levels[red], levels[green], levels[blue])) return 232 + grey;
    return 16 + 36 * red + 6 * green + blue;
}

/// The foreground code of the 16 colours: by the nearest of the six pure hues, bright when the value is high.
int code_16(ox_hsv colour) {
    static const int hues[] = {31, 33, 32, 36, 34, 35};
    if (colour.saturation < 25 || colour.value < 15) {
        if (colour.value < 15) return 30;
        return colour.value < 50 ? 90 : colour.value < 85 ? 37 : 97;
    }
    int code = hues[(colour.hue % 360 + 30) / 60 % 6];
    return colour.value > 70 ? code + 60 : code;
}

}  // namespace

void ox_colors_toggle(int on) {
    const char* refused = getenv("NO_COLOR");
    enabled = on && !(refused && *refused);
}

bool ox_colors_enabled(void) {
    return enabled;
}

size_t ox_colors_sequence(ox_hsv colour, char* out, size_t size) {
    int length = 0;
    if (size > 0) out[0] = '\0';
    if (!enabled) return 0;
    Rgb rgb = rgb_of(colour);
    switch (screen_depth()) {
        case 3:
            length = snprintf(out, size, "\033[38;2;%d;%d;%dm", rgb.red, rgb.green, rgb.blue);
            break;
        case 2:
            length = snprintf(out, size, "\033[38;5;%dm", index_256(rgb));
            break;
        default:
            length = snprintf(out, size, "\033[%dm", code_16(colour));
    }
    bool whole = length > 0 && static_cast<size_t>(length) < size;
    if (!whole && size > 0) out[0] = '\0';
    return whole ? length : 0;
}

void ox_colors_set(int kind) {
    if (!enabled) return;
    switch (kind) {
        case OX_COLOR_ERROR:
            fputs("\033[31m", stdout);
            break;
        case OX_COLOR_SUCCESS:
            fputs("\033[32m", stdout);
            break;
        case OX_COLOR_NUMBER:
            fputs("\033[36m", stdout);
            break;
        default:
            break;
    }
}

void ox_colors_set_hsv2(ox_hsv colour) {
    char sequence[32];
    if (ox_colors_sequence(colour, sequence, sizeof sequence) > 0) fputs(sequence, stdout);
}

void ox_colors_reset(void) {
    if (enabled) fputs("\033[0m", stdout);
}
