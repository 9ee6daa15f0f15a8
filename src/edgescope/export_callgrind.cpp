// A profile in the format of callgrind, for callgrind_annotate and KCachegrind. Its one event is
// the running of a block. What calls cost with all that they lead to isn't sampled: it is estimated
// from the costs of the functions called, divided by their entries.
#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "edgescope/blocks.h"
#include "edgescope/counts.h"
#include "edgescope/export.h"
#include "edgescope/line_counts.h"
#include "edgescope/message.h"
#include "edgescope/source_files.h"
#include "edgescope/texts.h"

namespace edgescope {
namespace {

// A line that isn't known is 0 in this format.
std::uint32_t shown_line(std::uint32_t line) { return line == unknown_line ? 0 : line; }

// What a function's own blocks cost, by line.
using LineCosts = std::vector<std::pair<std::uint32_t, std::uint64_t>>;

LineCosts own_costs(const Function& function) {
    LineCosts costs;
    for (const Block& block : blocks_of(function))
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

// The cost of a call with all that it leads to.
class InclusiveCosts {
public:
    explicit InclusiveCosts(const Profile& profile) {
        for (const Function& function : profile.functions) {
            by_name_[function.name].push_back(&function);
            Cost& costs = costs_[&function];
            costs.lines = own_costs(function);
            for (const auto& [line, cost] : costs.lines) {
                costs.own += static_cast<double>(cost);
                total_ += cost;
            }
        }
    }

    // Of all functions together.
    std::uint64_t total() const { return total_; }

    const LineCosts& own(const Function& function) const { return costs_.at(&function).lines; }

    std::uint64_t of_call(const Call& call) {
        return count_of(static_cast<double>(call.count) * for_each_entry(call.callee));
    }

    // The function that a call by this name leads to; null if none or several have that name.
    const Function* callee(const std::string& name) const {
        const auto known = by_name_.find(name);
        return known == by_name_.end() || known->second.size() != 1 ? nullptr
                                                                    : known->second.front();
    }

private:
    struct Cost {
        LineCosts lines{};
        double own = 0;
        double inclusive = 0;
        bool is_known = false;
        bool is_in_work = false;  // a call back into it costs nothing more
    };

    double for_each_entry(const std::string& name) {
        const Function* const function = callee(name);
        if (function == nullptr || function->count == 0) return 0;
        return inclusive(*function) / static_cast<double>(function->count);
    }

    // Walks down the calls; a chain of calls is as deep as the program has functions at most, so
    // it stands in a list of its own rather than on the stack.
    double inclusive(const Function& function);

    std::unordered_map<std::string_view, std::vector<const Function*>> by_name_;
    std::unordered_map<const Function*, Cost> costs_;
    std::uint64_t total_ = 0;
};

double InclusiveCosts::inclusive(const Function& function) {
    struct Step {
        const Function* function;
        std::size_t next_call = 0;
    };
    std::vector<Step> steps;
    const auto begin = [&](const Function& one) {
        Cost& cost = costs_[&one];
        if (cost.is_known || cost.is_in_work) return;
        cost.is_in_work = true;
        cost.inclusive = cost.own;
        steps.push_back({&one});
    };
    begin(function);
    while (!steps.empty()) {
        const Function& caller = *steps.back().function;
        Cost& cost = costs_[&caller];
        if (steps.back().next_call == caller.calls.size()) {
            cost.is_known = true;
            cost.is_in_work = false;
            steps.pop_back();
            continue;
        }
        const Call& call = caller.calls[steps.back().next_call];
        const Function* const called = callee(call.callee);
        const bool is_counted = called != nullptr && called->count != 0;
        if (is_counted && !costs_[called].is_known && !costs_[called].is_in_work) {
            begin(*called);
            continue;
        }
        if (is_counted && costs_[called].is_known)
            cost.inclusive += costs_[called].inclusive * static_cast<double>(call.count) /
                              static_cast<double>(called->count);
        ++steps.back().next_call;
    }
    return costs_[&function].inclusive;
}

class CallgrindFile {
public:
    CallgrindFile(const Profile& profile, const ExportOptions& options, Output& output)
        : profile_(profile),
          options_(options),
          output_(output),
          sources_(options.sources),
          inclusive_(profile) {}

    void write();

private:
    void write_function(const Function& function);
    void write_call(const Function& caller, const Call& call);
    void write_jumps(const Function& function);
    void write_jump(const Edge& edge, bool is_conditional, std::uint64_t executions);
    const std::string& file_of(const Function& function);
    std::string name_of(const std::string& name) const {
        return one_line(shown_name(name, options_.demangle));
    }
    static std::string one_line(const std::string& text) { return printable(text); }

    const Profile& profile_;
    const ExportOptions& options_;
    Output& output_;
    SourceFiles sources_;
    std::unordered_map<std::string_view, std::string> shown_files_;
    InclusiveCosts inclusive_;
};

const std::string& CallgrindFile::file_of(const Function& function) {
    const auto [place, is_new] = shown_files_.try_emplace(function.file);
    if (is_new)
        place->second = has_file(function) ? one_line(sources_.path_of(function.file)) : "???";
    return place->second;
}

void CallgrindFile::write() {
    output_.print("# callgrind format\nversion: 1\ncreator: edgescope " EDGESCOPE_VERSION
                  "\npositions: line\nevent: Blocks : Blocks run\nevents: Blocks\n"
                  "summary: {}\n",
                  inclusive_.total());
    for (const Function& function : profile_.functions) write_function(function);
}

void CallgrindFile::write_function(const Function& function) {
    output_.print("\nfl={}\nfn={}\n", file_of(function), name_of(function.name));
    for (const auto& [line, cost] : inclusive_.own(function))
        output_.print(FMT_COMPILE("{} {}\n"), line, cost);
    write_jumps(function);
    for (const Call& call : function.calls) write_call(function, call);
}

void CallgrindFile::write_call(const Function& caller, const Call& call) {
    const Function* const callee = inclusive_.callee(call.callee);
    if (callee == nullptr)
        output_.append("cfi=???\n");
    else if (callee->file != caller.file)
        output_.print(FMT_COMPILE("cfi={}\n"), file_of(*callee));
    output_.print(FMT_COMPILE("cfn={}\ncalls={} {}\n{} {}\n"), name_of(call.callee), call.count,
                  callee == nullptr ? 0 : first_line(*callee).value_or(0), shown_line(call.line),
                  inclusive_.of_call(call));
}

// A block that several edges leave ends with a conditional jump; the others go on without a choice.
void CallgrindFile::write_jumps(const Function& function) {
    std::vector<const Edge*> edges;
    for (const Edge& edge : function.edges) edges.push_back(&edge);
    std::stable_sort(edges.begin(), edges.end(), [](const Edge* a, const Edge* b) {
        return a->from_address < b->from_address;
    });
    for (std::size_t first = 0, end = 0; first < edges.size(); first = end) {
        std::uint64_t count = 0;
        for (end = first;
             end < edges.size() && edges[end]->from_address == edges[first]->from_address; ++end)
            count += edges[end]->count;
        for (std::size_t i = first; i < end; ++i) write_jump(*edges[i], end - first > 1, count);
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
