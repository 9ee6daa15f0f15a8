// Prints the edges and calls of one function of a sample database or an edge file, the most taken
// first. Of a database only this function's edges and calls are read.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "hotpath/facade/function_name.h"
#include "hotpath/facade/sample_set.h"

using namespace hotpath;

static void print_edges(const SampledFunction& function) {
    std::vector<SampledEdge> edges = function.edges();
    std::stable_sort(edges.begin(), edges.end(), [](const SampledEdge& a, const SampledEdge& b) {
        return a.exec_count > b.exec_count;
    });
    for (const SampledEdge& edge : edges)
        std::printf("%12llu  line %u > line %u\n", static_cast<unsigned long long>(edge.exec_count),
                    edge.from.line, edge.to.line);
}

static void print_calls(const SampledFunction& function) {
    for (const SampledCall& call : function.calls())
        std::printf("%12llu  line %u calls %.*s\n",
                    static_cast<unsigned long long>(call.exec_count), call.line,
                    static_cast<int>(call.callee.size()), call.callee.data());
}

static int fail(const char* what, const char* name) {
    std::fprintf(stderr, "hot_edges: %s %s\n", what, name);
    return 1;
}

int main(int argument_count, char** arguments) {
    if (argument_count != 4) return fail("usage:", "hot_edges DATABASE FILE FUNCTION");
    SampleSet samples;
    const SampleLoad load = samples.open(arguments[1]);
    if (load == SampleLoad::cannot_open) return fail("can't open", arguments[1]);
    if (load == SampleLoad::no_samples) return fail("no samples in", arguments[1]);

    const auto function = samples.find(arguments[2], normalised_function_name(arguments[3]));
    if (!function) return fail("no samples of", arguments[3]);
    print_edges(*function);
    print_calls(*function);
    return 0;
}
