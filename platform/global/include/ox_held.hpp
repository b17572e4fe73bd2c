// What the running command holds, so that it can be released when the command is left by a jump.
//
// Owners on the stack link themselves into one list, the newest first; whoever jumps releases first what is
// newer than the place where the jump lands. For the main thread alone: owners of other threads, and owners
// that an error of Lua may jump over, use ox_unheld.
#pragma once

/// A link of the list: the base of an owner.
class ox_held {
public:
    ox_held(const ox_held&) = delete;
    ox_held& operator=(const ox_held&) = delete;

protected:
    /// `drop` ends the life of the owner that this is a part of: it calls its destructor.
    explicit ox_held(void (*drop)(ox_held* self));
    ~ox_held();

private:
    friend void ox_held_release(const class ox_held_mark& mark);
    ox_held* older_;
    ox_held* newer_;
    void (*drop_)(ox_held* self);
};

/// The base of an owner that is in no list.
class ox_unheld {
public:
    ox_unheld(const ox_unheld&) = delete;
    ox_unheld& operator=(const ox_unheld&) = delete;

protected:
    explicit ox_unheld(void (*)(ox_unheld* self)) {}
    ~ox_unheld() = default;
};

/// A place in the list: it lives where a jump lands, and what is older stays.
class ox_held_mark : ox_held {
public:
    ox_held_mark() : ox_held([](ox_held*) {}) {}

private:
    friend void ox_held_release(const ox_held_mark& mark);
};

/// Releases everything that was acquired since the mark was made, the newest first. The frames that hold it
/// must be there still: to be called before the jump.
void ox_held_release(const ox_held_mark& mark);
