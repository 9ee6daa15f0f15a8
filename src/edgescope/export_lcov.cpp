// A tracefile of lines, functions and branches, for genhtml.
#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "edgescope/blocks.h"
#include "edgescope/export.h"
#include "edgescope/line_counts.h"
#include "edgescope/source_files.h"
#include "edgescope/texts.h"

namespace edgescope {
namespace {

using Functions = std::vector<const Function*>;

// Writes the part of the tracefile that is about one source file.
class FilePart {
public:
    FilePart(const Functions& functions, const ExportOptions& options, Output& output)
        : functions_(functions), options_(options), output_(output) {
        for (const Function* const function : functions)
            for (const auto& [line, count] : line_counts(*function)) note(line, count);
    }

    void write(const std::string& path) {
        output_.print("TN:\nSF:{}\n", printable_path(path));
        write_functions();
        write_branches();
        write_lines();
        output_.append("end_of_record\n");
    }

private:
    static std::string printable_path(std::string path) {
        std::erase(path, '\n');
        return path;
    }

    void note(std::uint32_t line, std::uint64_t count) {
        std::uint64_t& known = lines_[line];
        known = std::max(known, count);
    }

    // Where the function begins, as far as its samples tell; its name stands there.
    std::uint32_t line_of(const Function& function) const {
        if (const auto line = first_line(function)) return *line;
        const auto lines = line_counts(function);
        return lines.empty() ? 1 : lines.begin()->first;
    }

    void write_functions() {
        std::size_t hit = 0;
        for (const Function* const function : functions_) {
            const std::uint32_t line = line_of(*function);
            note(line, function->count);
            output_.print("FN:{},{}\n", line, shown_name(function->name, options_.demangle));
        }
        for (const Function* const function : functions_) {
            output_.print("FNDA:{},{}\n", function->count,
                          shown_name(function->name, options_.demangle));
            if (function->count != 0) ++hit;
        }
        output_.print("FNF:{}\nFNH:{}\n", functions_.size(), hit);
    }

    // A branch is a block that several edges leave.
    void write_branches() {
        std::map<std::uint32_t, std::vector<std::vector<std::uint64_t>>> branches;  // by line
        for (const Function* const function : functions_) add_branches(*function, branches);
        std::size_t found = 0, hit = 0;
        for (const auto& [line, blocks] : branches)
            for (std::size_t block = 0; block < blocks.size(); ++block)
                for (std::size_t branch = 0; branch < blocks[block].size(); ++branch) {
                    const std::uint64_t count = blocks[block][branch];
                    output_.print(FMT_COMPILE("BRDA:{},{},{},{}\n"), line, block, branch, count);
                    ++found;
                    if (count != 0) ++hit;
                }
        output_.print("BRF:{}\nBRH:{}\n", found, hit);
    }

    void add_branches(
        const Function& function,
        std::map<std::uint32_t, std::vector<std::vector<std::uint64_t>>>& branches) const {
        std::vector<const Edge*> edges;
        for (const Edge& edge : function.edges) edges.push_back(&edge);
        std::stable_sort(edges.begin(), edges.end(), [](const Edge* x, const Edge* y) {
            return x->from_address < y->from_address;
        });
        for (std::size_t first = 0, end = 0; first < edges.size(); first = end) {
            std::vector<std::uint64_t> counts;
            for (end = first;
                 end < edges.size() && edges[end]->from_address == edges[first]->from_address;
                 ++end)
                counts.push_back(edges[end]->count);
            if (counts.size() > 1 && lines_.contains(edges[first]->from.line))
                branches[edges[first]->from.line].push_back(std::move(counts));
        }
    }

    void write_lines() {
        std::size_t hit = 0;
        for (const auto& [line, count] : lines_) {
            output_.print(FMT_COMPILE("DA:{},{}\n"), line, count);
            if (count != 0) ++hit;
        }
        output_.print("LF:{}\nLH:{}\n", lines_.size(), hit);
    }

    const Functions& functions_;
    const ExportOptions& options_;
    Output& output_;
    std::map<std::uint32_t, std::uint64_t> lines_;
};

}  // namespace

bool export_lcov(const Profile& profile, const ExportOptions& options, Output& output) {
    const SourceFiles sources(options.sources);
    std::map<std::string, Functions> by_file;
    for (const Function& function : profile.functions)
        if (has_file(function)) by_file[function.file].push_back(&function);
    std::vector<std::string> missing;
    for (const auto& [file, functions] : by_file) {
        const std::optional<std::string> path = sources.find(file);
        if (!path && !options.sources.empty())
            missing.push_back(file);  // genhtml stops at a file that isn't there
        else
            FilePart(functions, options, output).write(path.value_or(file));
    }
    tell_missing_sources(missing, options.sources);
    return true;
}

}  // namespace edgescope
