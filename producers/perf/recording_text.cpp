#include "perf/recording_text.h"

#include "perf/text_lines.h"

namespace perf {
namespace {

class Reading {
public:
    Reading(AddressSpaces& spaces, ForeignNames& names, BranchCounts& counts)
        : spaces_(spaces), names_(names), counts_(counts) {}

    void add(const StackLine& line);
    const RecordingSize& size() const { return size_; }

private:
    void add_stack(const StackLine& line);
    Place destination_of(AddressSpace& space, Place source, std::uint64_t address);

    AddressSpaces& spaces_;
    ForeignNames& names_;
    BranchCounts& counts_;
    RecordingSize size_;
    std::vector<std::int64_t> processes_;  // of a head on a line of its own
};

void Reading::add(const StackLine& line) {
    using Kind = StackLine::Kind;
    size_.damaged += line.damaged;
    switch (line.kind) {
        case Kind::stack: add_stack(line); break;
        case Kind::mapping: spaces_.map(line.mapping); break;
        case Kind::fork: spaces_.fork(line.fork); break;
        case Kind::exec: spaces_.exec(line.executing); break;
        case Kind::other:
            if (!line.processes.empty()) processes_ = line.processes;
            break;
    }
}

void Reading::add_stack(const StackLine& line) {
    AddressSpace& space = spaces_.find(line.processes.empty() ? processes_ : line.processes);
    ++size_.stacks;
    size_.branches += line.branches.size() - line.damaged;
    counts_.begin_stack();
    for (const Branch& branch : line.branches) {
        if (branch.source == unreadable && branch.destination == unreadable) {
            counts_.begin_stack();  // no way leads over it
        } else {
            const Place source = space.place(branch.source);
            counts_.add(source, destination_of(space, source, branch.destination));
        }
    }
}

// Only a branch out of the given files has a use for the name of where it leads to.
Place Reading::destination_of(AddressSpace& space, Place source, std::uint64_t address) {
    const Place destination = space.place(address);
    if (!edgefile::is_foreign(destination) || edgefile::is_foreign(source)) return destination;
    const std::optional<FilePlace> other = space.other_place(address);
    return other ? names_.place(*other, spaces_.other_file(other->file)) : destination;
}

}  // namespace

RecordingSize read_recording(std::FILE* text, AddressSpaces& spaces, ForeignNames& names,
                             BranchCounts& counts) {
    TextLines lines(text);
    StackText parser;
    Reading reading(spaces, names, counts);
    std::string_view line;
    while (lines.next(line)) reading.add(parser.read(line));
    RecordingSize size = reading.size();
    size.read_error = lines.failed();
    return size;
}

}  // namespace perf
