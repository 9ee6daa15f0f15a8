// A program of which each count is known: see llvm_program_test.py.
#include <stdio.h>

static int half(int number) {
    return number / 2 + 1;
}

__attribute__((noinline)) int twice(int number) { return number * 2; }
__attribute__((noinline)) int thrice(int number) { return number * 3; }

__attribute__((noinline)) int choose(int (*step)(int), int number) {
    return step(number) + 1;
}

__attribute__((noinline)) int work(volatile int *memory, int rounds) {
    int sum = 0;
    for (int i = 0; i < rounds; ++i) {
        if (*memory == 5)
            sum += half(*memory);
        sum += twice(i);
    }
    if (*memory == 77)
        puts("never");
    return sum;
}

int main(void) {
    volatile int memory = 5;
    int sum = 0;
    for (int i = 0; i < 10; ++i)
        sum += work(&memory, 100);
    for (int i = 0; i < 40; ++i)
        sum += choose(i % 4 == 0 ? twice : thrice, i);
    return sum == 1;
}
