// The stack of the matching machine. It knows nothing of what its values mean.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace hotpath {

// A stack that starts with room for 256 values, keeps the room it grew to, and never fails: without
// memory for a value it stays as it was.
class BacktrackStack {
public:
    BacktrackStack() = default;
    BacktrackStack(const BacktrackStack&) = delete;  // `values_` points into the object itself
    BacktrackStack& operator=(const BacktrackStack&) = delete;

    void push(std::uint64_t value) {
        if (height_ == capacity_ && !grow()) return;
        values_[height_++] = value;
    }

    // The topmost value; 0 from an empty stack.
    std::uint64_t pop() { return height_ == 0 ? 0 : values_[--height_]; }

    std::size_t height() const { return height_; }

    // `height` is one that the stack had since it was made.
    void set_height(std::size_t height) { height_ = height; }

private:
    bool grow();

    std::array<std::uint64_t, 256> initial_{};
    std::unique_ptr<std::uint64_t[]> grown_;
    std::uint64_t* values_ = initial_.data();
    std::size_t capacity_ = initial_.size();
    std::size_t height_ = 0;
};

}  // namespace hotpath
