// The program of the tutorial: which number below 10,000 takes the most steps to come down to 1?
#include <cstdio>

static long halve(long n) {
    return n / 2;
}

static long grow(long n) {
    return 3 * n + 1;
}

int steps_of(long n) {
    int steps = 0;
    while (n != 1) {
        if (n % 2 == 0)
            n = halve(n);
        else
            n = grow(n);
        ++steps;
    }
    return steps;
}

int main() {
    int most = 0;
    long best = 1;
    for (long n = 1; n < 10000; ++n) {
        const int steps = steps_of(n);
        if (steps > most) {
            most = steps;
            best = n;
        }
    }
    std::printf("%ld takes %d steps\n", best, most);
    return 0;
}
