#include "ox_held.hpp"

namespace {

ox_held* newest = nullptr;

}  // namespace

ox_held::ox_held(void (*drop)(ox_held*)) : older_(newest), newer_(nullptr), drop_(drop) {
    if (older_) older_->newer_ = this;
    newest = this;
}

ox_held::~ox_held() {
    if (older_) older_->newer_ = newer_;
    if (newer_) {
        newer_->older_ = older_;
    } else {
        newest = older_;
    }
}

void ox_held_release(const ox_held_mark& mark) {
    while (newest && newest != &mark) newest->drop_(newest);
}
