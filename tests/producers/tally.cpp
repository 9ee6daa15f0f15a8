// A program that transfers control in every way, each a known number of times: the tests record it.
#include <cstdio>
#include <cstdlib>

#define KEEP __attribute__((noinline, noclone))

namespace {

struct Shape {
    virtual long area() const = 0;
};

struct Square : Shape {
    KEEP long area() const override { return 4; }
};

struct Box : Shape {
    KEEP long area() const override { return 6; }
};

KEEP long fib(int n) {
    if (n < 2) return n;
    return fib(n - 1) + fib(n - 2);
}

KEEP long pick(int n) {
    switch (n % 8) {  // a jump table
        case 0: return 3;
        case 1: return fib(n % 5);
        case 2: n *= 7; [[fallthrough]];
        case 3: return n / 3;
        case 4: return n - 1;
        case 5: return 11;
        case 6: return n ^ 5;
        default: return 1;
    }
}

KEEP long leave(int n) {
    if (n & 1) return pick(n + 1);  // tail calls
    return fib(3);
}

int compare(const void* a, const void* b) {
    return *static_cast<const int*>(a) - *static_cast<const int*>(b);
}

KEEP void fill(int* values, int count) {
    for (int i = 0; i < count; ++i) {
        values[i] = i * 7 % count;
    }
}

inline long doubled(long n) {
    return 2 * n + std::atoi("1");  // inlined: its place is that of the caller
}

}  // namespace

extern "C" KEEP long work(int first, int step) {
    long sum = 0;
    const Square square;
    const Box box;
    const Shape* shapes[] = {&square, &box};
    for (int i = first; i < 100; i += step) {
        const Shape* volatile shape = shapes[i % 4 == 0];
        sum += shape->area() + pick(i) + leave(i);
    }
    return doubled(sum);
}

extern "C" KEEP void sort() {
    int values[20];
    fill(values, 20);
    std::qsort(values, 20, sizeof *values, compare);
}

// With an argument only numbers are picked that fall from one case of the jump table into the next.
int main(int argc, char**) {
    sort();
    const bool falling = argc > 1;
    std::printf("%ld\n", work(falling ? 2 : 0, falling ? 8 : 1));
    return 0;
}
