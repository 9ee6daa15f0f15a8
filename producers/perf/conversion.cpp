#include "perf/conversion.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "edgefile/edge_table.h"
#include "edgefile/programs.h"
#include "perf/recording_text.h"
#include "perf/transfers.h"

namespace perf {
namespace {

// The share of a program's branches that may be astray: more is another build.
constexpr double most_astray = 0.01;

constexpr const char* how_to_print = "perf script -F pid,brstack --show-mmap-events";

[[nodiscard]] bool fail(const std::string& text) {
    edgefile::say(command, text);
    return false;
}

void warn(const std::string& text) { edgefile::say(command, "warning: " + text); }

double share(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole);
}

struct CloseFile {
    void operator()(std::FILE* file) const {
        if (file != stdin) std::fclose(file);
    }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File open_stacks(const std::string& path) {
    return File(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
}

bool begins_with(const std::string& path, std::string_view text) {
    const File file = path == "-" ? nullptr : open_stacks(path);
    std::string front(text.size(), '\0');
    return file && std::fread(front.data(), 1, front.size(), file.get()) == text.size() &&
           front == text;
}

bool open_programs(const Options& options, edgefile::Programs& programs) {
    const edgefile::CommonOptions& common = options.common;
    constexpr std::string_view elf = "\177ELF";
    if (begins_with(options.stacks, elf) && !begins_with(common.program, elf))
        return fail(fmt::format("{} is a program and {} is none: the program comes first",
                                options.stacks, common.program));
    std::string problem;
    return programs.open(common.program, common.libraries, common.debug_files, problem) ||
           fail(problem);
}

// Without debug information there are no lines, and without lines the merge tool drops all edges.
bool have_debug_information(const edgefile::Programs& programs) {
    for (std::uint32_t i = 0; i < programs.size(); ++i) {
        if (programs[i].has_debug_information()) continue;
        const std::string text =
            programs[i].path() +
            ": has no debug information: compile it with -g, or say where it is by --debug-file";
        if (i == 0) return fail(text);
        warn(text);
    }
    return true;
}

std::vector<Image> images_of(const edgefile::Programs& programs) {
    std::vector<Image> images;
    for (std::uint32_t i = 0; i < programs.size(); ++i) {
        images.push_back({programs[i].path(), programs[i].build_id(), {}});
        for (const program::Segment& segment : programs[i].segments())
            if (segment.size < edgefile::foreign &&
                (segment.address + segment.size) >> edgefile::address_bits == 0)
                images.back().segments.push_back({segment.offset, segment.address, segment.size});
    }
    return images;
}

bool has_stacks(const RecordingSize& size, const std::string& path) {
    if (size.read_error) return fail(path + ": " + std::strerror(errno));
    if (size.branches != 0) return true;
    if (begins_with(path, "PERFILE2"))
        return fail(
            fmt::format("{} is what perf record wrote: print it with {}", path, how_to_print));
    return fail(fmt::format("{} has no branch stacks: record with perf record -b, print with {}",
                            path, how_to_print));
}

// Hits of branches in one file.
struct FileHits {
    std::uint64_t all = 0;
    std::uint64_t astray = 0;
};

// Those that leave from a file are its own, those that come from elsewhere the one's that they
// lead to.
std::vector<FileHits> hits_of(const BranchCounts& counts, std::uint32_t files) {
    std::vector<FileHits> hits(files);
    for (const CountedBranch& branch : counts.branches()) {
        const bool comes = edgefile::is_foreign(branch.source);
        FileHits& file = hits[edgefile::program_of(comes ? branch.destination : branch.source)];
        file.all += branch.count;
        if (branch.is_astray) file.astray += branch.count;
    }
    return hits;
}

// Whether the recording's hits in a file fall on its instructions.
bool is_of_build(const program::Program& program, const std::string& other_build,
                 const FileHits& hits) {
    constexpr const char* verdict = "the recording is of another build";
    if (!other_build.empty())
        return fail(fmt::format("{}: {}, with the build-id {} instead of {}", program.path(),
                                verdict, other_build, program.build_id()));
    if (hits.astray == 0) return true;
    const double astray = share(hits.astray, hits.all);
    const std::string text =
        fmt::format("{}: {:.2g} % of the branches recorded there don't fit its instructions",
                    program.path(), 100 * astray);
    if (astray > most_astray) return fail(fmt::format("{}: {}", text, verdict));
    warn(text);
    return true;
}

bool is_of_program(const std::string& stacks, const std::string& program,
                   const AddressSpaces& spaces, const BranchCounts& counts) {
    if (!counts.branches().empty()) return true;
    if (!spaces.has_mappings())
        return fail(fmt::format("no branch of {} lies in {}: print it with --show-mmap-events",
                                stacks, program));
    if (spaces.has_mapped(0) || spaces.others().empty())
        return fail(fmt::format("no branch of {} lies in {}", stacks, program));
    return fail(fmt::format("the recording is not of {}, but of {}", program,
                            fmt::join(spaces.others(), ", ")));
}

bool fits(const std::string& stacks, const edgefile::Programs& programs,
          const AddressSpaces& spaces, const BranchCounts& counts) {
    const std::vector<FileHits> hits = hits_of(counts, programs.size());
    for (std::uint32_t i = 0; i < programs.size(); ++i)
        if (!is_of_build(programs[i], spaces.other_build(i), hits[i])) return false;
    if (!is_of_program(stacks, programs[0].path(), spaces, counts)) return false;
    for (std::uint32_t i = 0; i < programs.size(); ++i)
        if (hits[i].all == 0) warn("the recording has no branch in " + programs[i].path());
    return true;
}

// One recording, and what it says of the programs.
class Stacks {
public:
    Stacks(std::string path, const edgefile::Code& code)
        : path_(std::move(path)),
          programs_(code.programs()),
          spaces_(images_of(programs_)),
          counts_([&code](CountedBranch& branch) { look_at(branch, code); }) {}

    // False behind a message if the recording can't be used.
    bool read();

    const RecordingSize& size() const { return size_; }
    const ForeignNames& names() const { return names_; }
    const BranchCounts& counts() const { return counts_; }

private:
    std::string path_;
    const edgefile::Programs& programs_;
    AddressSpaces spaces_;
    ForeignNames names_;
    BranchCounts counts_;
    RecordingSize size_;
};

bool Stacks::read() {
    const File file = open_stacks(path_);
    if (!file) return fail(path_ + ": " + std::strerror(errno));
    size_ = read_recording(file.get(), spaces_, names_, counts_);
    if (!has_stacks(size_, path_) || !fits(path_, programs_, spaces_, counts_)) return false;
    if (size_.damaged != 0)
        warn(fmt::format("{}: {} entries or events can't be read", path_, size_.damaged));
    return true;
}

// Branches of other recordings, which make more blocks and no counts.
bool cut_like(const Options& options, edgefile::Code& code) {
    for (const std::string& path : options.cut_like) {
        Stacks stacks(path, code);
        if (!stacks.read()) return false;
        cut_where_branches_lead(stacks.counts().branches(), code);
    }
    return true;
}

// The share of the branches that code of none of the files took.
double share_outside(const RecordingSize& size, const BranchCounts& counts) {
    std::uint64_t inside = 0;
    for (const CountedBranch& branch : counts.branches())
        if (!edgefile::is_foreign(branch.source)) inside += branch.count;
    return share(size.branches - inside, size.branches);
}

}  // namespace

bool convert(const Options& options) {
    edgefile::Programs programs;
    if (!open_programs(options, programs) || !have_debug_information(programs)) return false;
    edgefile::Code code(programs);
    Stacks stacks(options.stacks, code);
    if (!stacks.read()) return false;
    cut_where_branches_lead(stacks.counts().branches(), code);
    if (!cut_like(options, code)) return false;
    edgefile::EdgeTable table(code, stacks.names().functions(), options.common.table);
    const edgefile::Summary summary =
        table.write(make_transfers(stacks.counts().branches(), code), stdout);
    if (!edgefile::flush_output(command)) return false;
    edgefile::say_summary(command, summary, share_outside(stacks.size(), stacks.counts()));
    return true;
}

}  // namespace perf
