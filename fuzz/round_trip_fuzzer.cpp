// Runs that are read at once, appended one after the other, or merged from databases of their own
// must give the same counts: positions agree and edges stay below 2 to the 31st, so nothing is
// lost. Marks aren't compared; a merge doesn't carry them.
#include <string>
#include <vector>

#include "database_files.h"
#include "fuzz_input.h"
#include "hotpath/database/sample_db.h"
#include "naive_profile.h"

namespace {

using fuzz::FuzzInput;
using hotpath::FunctionRecordSet;

constexpr const char* file_names[] = {"a.c", "A.c", "b.c", "dir\\a.c", "\xC3\xA4.c", "C"};
constexpr const char* function_names[] = {"f", "g", "f/a", "F", "", "g\xFF", "(anon ns)x", "f/"};

// One thing that a run saw.
struct Sighting {
    enum Kind { entry, edge, call } kind;
    const char* file;
    const char* function;
    const char* callee;
    std::uint64_t from;
    std::uint64_t to;
    std::uint64_t count;
};
using Run = std::vector<Sighting>;

// Every other choice is the first: functions with many edges are wanted too.
template <std::size_t size>
const char* one_of(const char* const (&names)[size], FuzzInput& input) {
    const std::size_t choice = input.below(2 * size);
    return names[choice < size ? choice : 0];
}

Sighting sighting(FuzzInput& input) {
    Sighting seen{};
    seen.kind = static_cast<Sighting::Kind>(input.below(3));
    seen.file = one_of(file_names, input);
    seen.function = one_of(function_names, input);
    seen.callee = one_of(function_names, input);
    seen.from = input.byte() * 0x0102030405060708U;
    seen.to = input.byte() * 0x0102030405060708U;
    seen.count = input.bytes(seen.kind == Sighting::edge ? 2 : 8);
    return seen;
}

// An address has one position, so sightings agree.
hotpath::SourcePosition position_of(std::uint64_t address) {
    const auto low = static_cast<std::uint32_t>(address);
    return {low, low / 3, low / 5, low / 7};
}

std::vector<Run> runs_of(FuzzInput& input) {
    constexpr std::size_t most_sightings = 64;
    std::vector<Run> runs(1 + input.below(2));
    for (std::size_t i = 0; i < most_sightings && !input.is_empty(); ++i)
        runs[input.below(runs.size())].push_back(sighting(input));
    return runs;
}

void add_run(const Run& run, FunctionRecordSet& set) {
    for (const Sighting& seen : run) {
        hotpath::FunctionRecord* const record = set.find_or_create_record(seen.file, seen.function);
        const hotpath::SourcePosition from = position_of(seen.from);
        if (seen.kind == Sighting::entry) record->add_exec_count(seen.count);
        if (seen.kind == Sighting::edge)
            record->add_edge(seen.from, from, seen.to, position_of(seen.to), seen.count,
                             set.factory());
        if (seen.kind == Sighting::call)
            record->add_call(seen.callee, from.line, from.relative_line, seen.count);
    }
    set.add_runs(1);
}

std::string sum_of(const std::vector<Run>& runs) {
    fuzz::NaiveProfile profile;
    for (const Run& run : runs) {
        for (const Sighting& seen : run) {
            fuzz::NaiveFunction& function = profile.function(seen.file, seen.function);
            const hotpath::SourcePosition from = position_of(seen.from);
            if (seen.kind == Sighting::entry) function.count += seen.count;
            if (seen.kind == Sighting::edge)
                function.add_edge({seen.from, seen.to}, from, position_of(seen.to), seen.count);
            if (seen.kind == Sighting::call)
                function.add_call(seen.callee, from.line, from.relative_line, seen.count);
        }
        ++profile.runs;
    }
    return profile_text(profile, fuzz::Marks::left_out);
}

void merge(const FunctionRecordSet& inputs, const std::string& path) {
    hotpath::SampleDB target;
    FunctionRecordSet target_records(inputs.factory());
    fuzz::require(target.open_writable(&target_records, path.c_str()) == hotpath::DbOpenOk,
                  "a target that opens");
    fuzz::require(target.merge_records(inputs, inputs.factory()), "a merge that succeeds");
}

void merge_runs(const std::vector<Run>& runs, const std::string& path) {
    fuzz::Factory factory;
    FunctionRecordSet inputs(factory);
    for (const Run& run : runs) add_run(run, inputs);
    merge(inputs, path);
}

void load(const std::string& path, FunctionRecordSet& set) {
    hotpath::SampleDB database;
    fuzz::require(database.open_readonly(path.c_str()) == hotpath::DbOpenOk,
                  "a database that opens again");
    fuzz::require(database.read_function_records(set, set.factory(), false),
                  "a load that succeeds");
}

std::string loaded(const std::string& path) {
    fuzz::Factory factory;
    FunctionRecordSet set(factory);
    load(path, set);
    return fuzz::profile_text(set, fuzz::Marks::left_out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::vector<Run> runs = runs_of(input);
    const std::string expected = sum_of(runs);

    const std::string at_once = fuzz::empty_sample_database("at_once.db");
    merge_runs(runs, at_once);
    fuzz::require_equal(expected, loaded(at_once), "runs that were read at once");

    const std::string appended = fuzz::empty_sample_database("appended.db");
    for (const Run& run : runs) merge_runs({run}, appended);
    fuzz::require_equal(expected, loaded(appended), "runs that were appended");

    fuzz::Factory factory;
    FunctionRecordSet set(factory);
    for (const Run& run : runs) {
        const std::string single = fuzz::empty_sample_database("single.db");
        merge_runs({run}, single);
        load(single, set);
    }
    const std::string merged = fuzz::empty_sample_database("merged.db");
    merge(set, merged);
    fuzz::require_equal(expected, loaded(merged), "runs that were merged from databases");
    return 0;
}
