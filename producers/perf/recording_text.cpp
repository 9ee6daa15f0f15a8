#include "perf/recording_text.h"

#include "perf/text_lines.h"

namespace perf {
namespace {

class Reading {
public:
    Reading(AddressSpaces& spaces, BranchCounts& counts) : spaces_(spaces), counts_(counts) {}

    void add(const StackLine& line);
    const RecordingSize& size() const { return size_; }

private:
    void add_stack(const StackLine& line);

    AddressSpaces& spaces_;
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
        if (branch.source == unreadable && branch.destination == unreadable)
            counts_.begin_stack();  // no way leads over it
        else
            counts_.add(space.place(branch.source), space.place(branch.destination));
    }
}

}  // namespace

RecordingSize read_recording(std::FILE* text, AddressSpaces& spaces, BranchCounts& counts) {
    TextLines lines(text);
    StackText parser;
    Reading reading(spaces, counts);
    std::string_view line;
    while (lines.next(line)) reading.add(parser.read(line));
    RecordingSize size = reading.size();
    size.read_error = lines.failed();
    return size;
}

}  // namespace perf
