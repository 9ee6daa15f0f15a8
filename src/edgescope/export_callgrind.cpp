// A profile in the format of callgrind, for callgrind_annotate and KCachegrind. Its one event is
// the running of a block. What calls cost with all that they lead to isn't sampled: it is estimated
// from the costs of the functions called, divided by their entries from other functions.
#include <algorithm>
#include <string_view>
#include <tuple>
#include <unordered_map>

#include "edgescope/blocks.h"
#include "edgescope/counts.h"
#include "edgescope/export.h"
#include "edgescope/line_counts.h"
#include "edgescope/message.h"
#include "edgescope/name_index.h"
#include "edgescope/source_files.h"
#include "edgescope/texts.h"

namespace edgescope {
namespace {

// A line that isn't known is 0 in this format.
std::uint32_t shown_line(std::uint32_t line) { return line == unknown_line ? 0 : line; }

// What a function's own blocks cost, by line.
using LineCosts = std::vector<std::pair<std::uint32_t, std::uint64_t>>;

LineCosts own_costs(const Function& function, const std::vector<Block>& blocks) {
    LineCosts costs;
    for (const Block& block : blocks)
        costs.emplace_back(shown_line(block.position.line), block.count());
    // Without edges it is one block, for all that is known.
    if (function.edges.empty() && function.count != 0)
        costs.emplace_back(first_line(function).value_or(0), function.count);
    std::sort(costs.begin(), costs.end());
    LineCosts sums;
    for (const auto& [line, cost] : costs) {
        if (sums.empty() || sums.back().first != line) sums.emplace_back(line, 0);
        sums.back().second += cost;
    }
    return sums;
}

// How often a function was entered by itself. Its entry block is left as often as calls enter it,
// which make up its count, and jumps back to it; of both, edges show what comes from within.
std::uint64_t entries_by_itself(const Function& function, const std::vector<Block>& blocks) {
    std::uint64_t entering = 0, leaving = 0;
    for (const Block& block : blocks) {
        if (!block.is_entry) continue;
        entering += block.entering;
        leaving += block.leaving;
    }
    const std::uint64_t all = function.count + entering;
    return std::min({all - std::min(all, leaving), entering, function.count});
}

// The cost of a call with all that it leads to. Functions are known by their places in the profile.
class InclusiveCosts {
public:
    InclusiveCosts(const Profile& profile, const NameIndex& names)
        : profile_(profile), names_(names) {
        costs_.reserve(profile.functions.size());
        for (const Function& function : profile.functions) {
            const std::vector<Block> blocks = blocks_of(function);
            Cost& cost = costs_.emplace_back();
            cost.lines = own_costs(function, blocks);
            cost.entries = function.count - entries_by_itself(function, blocks);
            for (const auto& [line, count] : cost.lines) {
                cost.own += static_cast<double>(count);
                total_ += count;
            }
        }
        note_calls();
    }

    // Of all functions together.
    std::uint64_t total() const { return total_; }

    const LineCosts& own(std::size_t function) const { return costs_[function].lines; }

    std::uint64_t of_call(const Call& call, std::uint32_t callee) {
        if (!is_counted(callee)) return 0;
        return count_of(static_cast<double>(call.count) * inclusive(callee) / entries(callee));
    }

private:
    struct Cost {
        LineCosts lines{};
        std::uint64_t entries = 0;  // by other functions
        double own = 0;
        double inclusive = 0;
        bool is_known = false;
        bool is_in_work = false;  // a call back into it costs nothing more
    };
    struct Step {
        std::uint32_t function;
        std::size_t next_call = 0;
    };

    double entries(std::uint32_t function) const {
        return static_cast<double>(costs_[function].entries);
    }
    void note_calls();
    bool is_counted(std::uint32_t callee) const {
        return callee != NameIndex::nobody && profile_.functions[callee].count != 0;
    }

    // Walks down the calls; a chain of calls is as deep as the program has functions at most, so
    // it stands in a list of its own rather than on the stack.
    double inclusive(std::uint32_t function);
    void begin(std::uint32_t function);
    void go_on();

    const Profile& profile_;
    const NameIndex& names_;
    std::vector<Cost> costs_;
    std::vector<Step> steps_;
    std::uint64_t total_ = 0;
};

// Sampling may show too few entries by others; they can't be fewer than their calls.
void InclusiveCosts::note_calls() {
    std::vector<std::uint64_t> called(costs_.size());
    for (std::uint32_t i = 0; i < costs_.size(); ++i) {
        const auto callees = names_.of_calls(i);
        for (std::size_t call = 0; call < callees.size(); ++call) {
            const std::uint32_t callee = names_.only_function(callees[call]);
            if (callee != NameIndex::nobody)
                called[callee] += profile_.functions[i].calls[call].count;
        }
    }
    for (std::uint32_t i = 0; i < costs_.size(); ++i) {
        const std::uint64_t least = std::min(called[i], profile_.functions[i].count);
        costs_[i].entries = std::max({costs_[i].entries, least, std::uint64_t{1}});
    }
}

double InclusiveCosts::inclusive(std::uint32_t function) {
    if (!costs_[function].is_known) begin(function);
    while (!steps_.empty()) go_on();
    return costs_[function].inclusive;
}

void InclusiveCosts::begin(std::uint32_t function) {
    costs_[function].is_in_work = true;
    costs_[function].inclusive = costs_[function].own;
    steps_.push_back({function});
}

// Adds the next call of the function that was begun last, or begins with the one called.
void InclusiveCosts::go_on() {
    Step& step = steps_.back();
    Cost& cost = costs_[step.function];
    const std::vector<Call>& calls = profile_.functions[step.function].calls;
    if (step.next_call == calls.size()) {
        cost.is_known = true;
        cost.is_in_work = false;
        steps_.pop_back();
        return;
    }
    const std::uint32_t callee =
        names_.only_function(names_.of_calls(step.function)[step.next_call]);
    if (is_counted(callee)) {
        const Cost& called = costs_[callee];
        if (!called.is_known && !called.is_in_work) return begin(callee);
        if (called.is_known)
            cost.inclusive += called.inclusive * static_cast<double>(calls[step.next_call].count) /
                              entries(callee);
    }
    ++step.next_call;
}

class CallgrindFile {
public:
    CallgrindFile(const Profile& profile, const ExportOptions& options, Output& output)
        : profile_(profile),
          options_(options),
          output_(output),
          names_(profile),
          inclusive_(profile, names_) {}

    void write();

private:
    // What is written of a function wherever it is named.
    struct Shown {
        const std::string* file;
        std::string name;
        std::uint32_t line;
    };

    void note_functions();
    void write_function(std::uint32_t number);
    void write_call(const Shown& caller, const Call& call, std::uint32_t callee);
    void write_jumps(const Function& function);
    void write_jump(const Edge& edge, bool is_conditional, std::uint64_t executions);

    const Profile& profile_;
    const ExportOptions& options_;
    Output& output_;
    NameIndex names_;
    InclusiveCosts inclusive_;
    std::unordered_map<std::string_view, std::string> files_;  // as they are written
    std::vector<Shown> functions_;
    std::vector<const Edge*> edges_;  // of the current function, by the block that they leave
};

void CallgrindFile::note_functions() {
    const SourceFiles sources(options_.sources);
    functions_.reserve(profile_.functions.size());
    for (const Function& function : profile_.functions) {
        const auto [place, is_new] = files_.try_emplace(function.file);
        if (is_new)
            place->second = has_file(function) ? printable(sources.path_of(function.file)) : "???";
        functions_.push_back({&place->second, shown_name(function.name, options_.demangle),
                              first_line(function).value_or(0)});
    }
}

void CallgrindFile::write() {
    note_functions();
    output_.print("# callgrind format\nversion: 1\ncreator: edgescope " EDGESCOPE_VERSION
                  "\npositions: line\nevent: Blocks : Blocks run\nevents: Blocks\n"
                  "summary: {}\n",
                  inclusive_.total());
    for (std::uint32_t i = 0; i < functions_.size(); ++i) write_function(i);
}

void CallgrindFile::write_function(std::uint32_t number) {
    const Function& function = profile_.functions[number];
    const Shown& shown = functions_[number];
    output_.print(FMT_COMPILE("\nfl={}\nfn={}\n"), *shown.file, shown.name);
    for (const auto& [line, cost] : inclusive_.own(number))
        output_.print(FMT_COMPILE("{} {}\n"), line, cost);
    write_jumps(function);
    const auto callees = names_.of_calls(number);
    for (std::size_t i = 0; i < callees.size(); ++i)
        write_call(shown, function.calls[i], names_.only_function(callees[i]));
}

void CallgrindFile::write_call(const Shown& caller, const Call& call, std::uint32_t callee) {
    if (callee == NameIndex::nobody) {
        output_.print(FMT_COMPILE("cfi=???\ncfn={}\ncalls={} 0\n{} 0\n"),
                      shown_name(call.callee, options_.demangle), call.count,
                      shown_line(call.line));
        return;
    }
    const Shown& shown = functions_[callee];
    if (shown.file != caller.file) output_.print(FMT_COMPILE("cfi={}\n"), *shown.file);
    output_.print(FMT_COMPILE("cfn={}\ncalls={} {}\n{} {}\n"), shown.name, call.count, shown.line,
                  shown_line(call.line), inclusive_.of_call(call, callee));
}

// A block that several edges leave ends with a conditional jump; the others go on without a choice.
void CallgrindFile::write_jumps(const Function& function) {
    edges_.clear();
    for (const Edge& edge : function.edges) edges_.push_back(&edge);
    std::sort(edges_.begin(), edges_.end(), [](const Edge* a, const Edge* b) {
        return std::tie(a->from_address, a) < std::tie(b->from_address, b);
    });
    for (std::size_t first = 0, end = 0; first < edges_.size(); first = end) {
        std::uint64_t count = 0;
        for (end = first;
             end < edges_.size() && edges_[end]->from_address == edges_[first]->from_address; ++end)
            count += edges_[end]->count;
        for (std::size_t i = first; i < end; ++i) write_jump(*edges_[i], end - first > 1, count);
    }
}

void CallgrindFile::write_jump(const Edge& edge, bool is_conditional, std::uint64_t executions) {
    const std::uint32_t from = shown_line(edge.from.line), to = shown_line(edge.to.line);
    if (is_conditional)
        output_.print(FMT_COMPILE("jcnd={}/{} {}\n{}\n"), edge.count, executions, to, from);
    else
        output_.print(FMT_COMPILE("jump={} {}\n{}\n"), edge.count, to, from);
}

}  // namespace

bool export_callgrind(const Profile& profile, const ExportOptions& options, Output& output) {
    CallgrindFile(profile, options, output).write();
    return true;
}

}  // namespace edgescope
