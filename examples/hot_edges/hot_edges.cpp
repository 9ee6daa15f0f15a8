// Prints the edges of one function of a sample database, the most taken first. Only this function's
// edges and calls are read from the file: all others stay proxies.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

#include "shared/hotpath/model/function_record_factory.h"
#include "shared/hotpath/readers/sample_reader.h"

using namespace hotpath;

// Sets hold file names in upper case.
static std::string upper_case(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

static void print_edges(const FunctionRecord& function) {
    std::vector<EdgeRecord*> edges;
    function.copy_edges(edges);
    std::stable_sort(edges.begin(), edges.end(), [](const EdgeRecord* a, const EdgeRecord* b) {
        return a->exec_count() > b->exec_count();
    });
    for (const EdgeRecord* const edge : edges)
        std::printf("%12llu  line %u > line %u\n",
                    static_cast<unsigned long long>(edge->exec_count()), edge->from_position().line,
                    edge->to_position().line);
}

static void print_calls(const FunctionRecord& function) {
    std::vector<const CallRecord*> calls;
    function.copy_calls(calls);
    for (const CallRecord* const call : calls)
        std::printf("%12llu  line %u calls %.*s\n",
                    static_cast<unsigned long long>(call->exec_count), call->line,
                    static_cast<int>(call->callee_name.size()), call->callee_name.data());
}

static int fail(const char* what, const char* name) {
    std::fprintf(stderr, "hot_edges: %s %s\n", what, name);
    return 1;
}

int main(int argument_count, char** arguments) {
    if (argument_count != 4) return fail("usage:", "hot_edges DATABASE FILE FUNCTION");
    ReaderStatus status;
    const auto reader = create_reader(arguments[1], status);
    if (status == ReaderStatus::cannot_open) return fail("can't open", arguments[1]);
    if (status == ReaderStatus::no_samples) return fail("no samples in", arguments[1]);

    FunctionRecordFactoryImpl<AllocatorOnHeap> factory;
    FunctionRecordSet functions(factory);
    if (!reader->read_function_records(functions, factory, reader->supports_proxies()))
        return fail("damaged:", arguments[1]);
    const FunctionRecord* const function =
        functions.find_record(upper_case(arguments[2]), arguments[3]);
    if (function == nullptr) return fail("no samples of", arguments[3]);
    print_edges(*function);
    print_calls(*function);
    return 0;
}
