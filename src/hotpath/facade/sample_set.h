// The samples of edge files and databases as the merge tool itself loads them: summed, in its
// order, with its rules on which sighting wins. A program that wants the stored numbers of one
// database instead, or doesn't trust it, takes the row reader.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hotpath {

class FunctionRecordInterface;

struct SamplePosition {
    std::uint32_t line;           // 4294967295 if unknown
    std::uint32_t relative_line;  // counted from the function's first line
    std::uint16_t column;
    std::uint16_t discriminator;
};

// One sampled transfer of control inside one function.
struct SampledEdge {
    std::uint64_t from_address;
    std::uint64_t to_address;
    SamplePosition from;
    SamplePosition to;
    std::uint64_t exec_count;
    bool is_entry;
    bool is_exit;
};

// One sampled call site and callee. The name lives as long as the set.
struct SampledCall {
    std::string_view callee;
    std::uint32_t line;
    std::uint32_t relative_line;
    std::uint64_t exec_count;
};

// A function of a set, which must outlive it.
class SampledFunction {
public:
    explicit SampledFunction(FunctionRecordInterface& record) : record_(&record) {}

    std::string_view file_name() const;  // in upper case
    std::string_view name() const;
    std::uint64_t exec_count() const;

    // Edges by the line that they leave; calls by callee and line. Of a set that was opened, the
    // first of these calls reads both from the file.
    std::vector<SampledEdge> edges() const;
    std::vector<SampledCall> calls() const;

private:
    FunctionRecordInterface* record_;
};

enum class SampleLoad {
    done,
    cannot_open,  // the file can't be read at all
    no_samples,   // neither an edge file nor a sample database, or its reading failed
};

// Functions with their samples. If there is no memory left for them, the process ends with a
// message. A database that was read stays open until the process ends.
class SampleSet {
public:
    SampleSet();
    ~SampleSet();
    SampleSet(const SampleSet&) = delete;
    SampleSet& operator=(const SampleSet&) = delete;

    // Reads the file at `path` (UTF-8) in full and adds it to what the set has.
    [[nodiscard]] SampleLoad add(const std::string& path);

    // The same for the first and only file of a set. Of a database only the functions' names and
    // counts are read here; edges and calls follow when they are asked for.
    [[nodiscard]] SampleLoad open(const std::string& path);

    std::uint32_t run_count() const;

    // All functions, by name and file.
    std::vector<SampledFunction> functions() const;

    // The function of this name in this file, whose letters' case doesn't matter; nothing if there
    // are no samples of it.
    std::optional<SampledFunction> find(std::string_view file_name, std::string_view name) const;

private:
    struct Records;
    std::unique_ptr<Records> records_;
};

}  // namespace hotpath
