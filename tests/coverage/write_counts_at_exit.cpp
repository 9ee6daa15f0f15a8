// The tool ends by `_Exit`, after which no counts of a coverage build would be written: this
// stands between, by the linker's `--wrap`.
extern "C" {
void __gcov_dump();

// A program whose memory fails by plan has this, so that what writes the counts gets its own.
[[gnu::weak]] void before_counts_are_written();

[[noreturn]] void __real__Exit(int status);

[[noreturn]] void __wrap__Exit(int status) {
    if (before_counts_are_written != nullptr) before_counts_are_written();
    __gcov_dump();
    __real__Exit(status);
}
}
