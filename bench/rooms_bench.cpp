// The rooms that rows flow through, each by itself. Figures of whole runs are run.py's.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "hotpath/database/sample_db.h"
#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/function_record_set.h"
#include "hotpath/names/name_normaliser.h"
#include "hotpath/readers/edge_columns.h"
#include "hotpath/readers/edge_numbers.h"
#include "hotpath/readers/edge_stream.h"
#include "hotpath/report/dump_report.h"

namespace {

using namespace hotpath;

using Factory = FunctionRecordFactoryImpl<AllocatorOnHeap>;

constexpr std::string_view row =
    "0x140001a34,Cond,no,src/render/shaders/atlas_cache.cpp,1418,140,14,0,"
    "_ZN6render5Atlas6insertERKNS_4PageEm,0x140001a40,0x140001a52,"
    "src/render/shaders/atlas_cache.cpp,1421,143,9,2,_ZN6render5Atlas6insertERKNS_4PageEm,23045";

// The text, followed by what the fast operations may read.
std::string padded(std::string_view text) {
    return std::string(text) + std::string(EdgeStream::overrun, '\0');
}

void lines(benchmark::State& state) {
    std::string text;
    for (int i = 0; i < 20000; ++i) text.append(row).append("\n");
    std::FILE* const made = std::fopen("bench_rooms.csv", "wb");
    std::fwrite(text.data(), 1, text.size(), made);
    std::fclose(made);
    for (auto _ : state) {
        EdgeStream stream(std::fopen("bench_rooms.csv", "rb"));
        std::string_view line;
        while (stream.next_line(line)) benchmark::DoNotOptimize(line);
    }
    std::remove("bench_rooms.csv");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(lines);

void fields_in_one_go(benchmark::State& state) {
    const std::string text = padded(row);
    std::array<std::string_view, 18> fields;
    for (auto _ : state)
        benchmark::DoNotOptimize(split_plain_fields({text.data(), row.size()}, 18, fields.data()));
}
BENCHMARK(fields_in_one_go);

void fields_by_rule(benchmark::State& state) {
    std::vector<std::string_view> fields;
    for (auto _ : state) {
        split_fields(row, 18, fields);
        benchmark::DoNotOptimize(fields.data());
    }
}
BENCHMARK(fields_by_rule);

// One conversion over texts of different lengths.
template <class Convert>
void numbers(benchmark::State& state, const std::vector<std::string>& texts, Convert convert) {
    std::vector<std::string> copies;
    for (const std::string& text : texts) copies.push_back(padded(text));
    std::size_t i = 0;
    for (auto _ : state) {
        i = i + 1 == texts.size() ? 0 : i + 1;
        benchmark::DoNotOptimize(convert(std::string_view(copies[i].data(), texts[i].size())));
    }
}

const std::vector<std::string> addresses{"0x140001a34", "0x401000", "7ff65a3c7a0e",
                                         "0x7f0000001040"};
const std::vector<std::string> decimals{"0", "14", "1418", "7", "20563", "140"};
const std::vector<std::string> counts{"3", "23045", "187820", "1", "99999999", "640"};

BENCHMARK_CAPTURE(numbers, hex, addresses, parse_hex_u64_padded);
BENCHMARK_CAPTURE(numbers, hex_by_rule, addresses, parse_hex_u64);
BENCHMARK_CAPTURE(numbers, decimal, decimals, parse_int_field_padded);
BENCHMARK_CAPTURE(numbers, decimal_by_rule, decimals, parse_int_field);
BENCHMARK_CAPTURE(numbers, count, counts, parse_count_padded);
BENCHMARK_CAPTURE(numbers, count_by_rule, counts, parse_count);

void name_chain(benchmark::State& state, const char* name) {
    NameNormaliser normaliser;
    for (auto _ : state) benchmark::DoNotOptimize(normaliser.normalise(name));
}
BENCHMARK_CAPTURE(name_chain, plain, "_ZN6render5Atlas6insertERKNS_4PageEm");
BENCHMARK_CAPTURE(name_chain, suffix, "_ZN6render5Atlas6insertERKNS_4PageEm.isra.0");
BENCHMARK_CAPTURE(name_chain, outlined, "L_render_atlas_insert_1418__par_loop0_2.7");
BENCHMARK_CAPTURE(name_chain, unnamed_namespace, "_ZN24__N_17_src_render_a_cpp6insertEv");

// Edges of one function: each pass meets all of them again.
void add_edge(benchmark::State& state) {
    Factory factory;
    EdgeExecCounts edges;
    const auto distinct = static_cast<std::uint64_t>(state.range(0));
    std::uint64_t i = 0;
    for (auto _ : state) {
        const std::uint64_t from = 0x401000 + i % distinct * 16;
        benchmark::DoNotOptimize(
            edges.add_edge(from, {10, 1, 1, 0}, from + 8, {11, 2, 1, 0}, 1, factory));
        i += 7919;
    }
    edges.release_edges(factory);
}
BENCHMARK(add_edge)->Arg(4)->Arg(64)->Arg(100000);

void find_or_create_record(benchmark::State& state) {
    Factory factory;
    FunctionRecordSet set(factory);
    std::vector<std::string> names;
    for (int i = 0; i < state.range(0); ++i)
        names.push_back("_ZN6render5Atlas6insertERKNS_4PageEm" + std::to_string(i));
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            set.find_or_create_record("src/render/atlas.cpp", names[i % names.size()]));
        i += 7919;
    }
}
BENCHMARK(find_or_create_record)->Arg(100)->Arg(100000);

// A function with ten edges, its rows deleted and written again inside of one transaction.
void rewrite_function(benchmark::State& state) {
    Factory factory;
    FunctionRecordSet records(factory);
    FunctionRecordSet known(factory);
    FunctionRecord* const record = records.find_or_create_record("a.cpp", "f");
    for (std::uint64_t k = 0; k < 10; ++k)
        record->add_edge(k, {10, 1, 1, 0}, k + 1, {11, 2, 1, 0}, 5, factory);
    SampleDB file;
    std::remove("bench_rooms.db");
    if (file.open_writable(&known, "bench_rooms.db") != DbOpenOk) state.SkipWithError("not opened");
    file.begin_transaction();
    file.insert_function_record(*record);
    for (auto _ : state) benchmark::DoNotOptimize(file.update_function_record(1, *record));
    state.SetItemsProcessed(state.iterations() * 10);
    file.close();
    std::remove("bench_rooms.db");
}
BENCHMARK(rewrite_function);

// The report of one function with ten thousand edges, into the null device.
void report(benchmark::State& state) {
    Factory factory;
    FunctionRecordSet records(factory);
    FunctionRecord* const record = records.find_or_create_record("a.cpp", "f");
    for (std::uint32_t k = 0; k < 10000; ++k)
        record->add_edge(0x401000 + k * 8, {k * 7919 % 3000, 1, 1, 0}, 0x401004 + k, {11, 2, 1, 0},
                         k, factory);
    if (std::freopen("/dev/null", "w", stdout) == nullptr) state.SkipWithError("no null device");
    for (auto _ : state) dump_report(records, "L");
    state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(report);

}  // namespace

int main(int argument_count, char** arguments) {
    benchmark::Initialize(&argument_count, arguments);
    // The report room takes the standard output stream, so the figures go to the other one.
    benchmark::ConsoleReporter figures;
    figures.SetOutputStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&figures);
    return 0;
}
