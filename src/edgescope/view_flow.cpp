#include "edgescope/view_flow.h"

#include <algorithm>

#include "edgescope/blocks.h"

namespace edgescope {
namespace {

// A segment of about so many edges is unpacked in a moment and compresses well.
constexpr std::size_t edges_of_segment = 4096;
constexpr std::size_t most_functions = 1024;

// The marks of a block.
constexpr std::int64_t entry_mark = 1;
constexpr std::int64_t exit_mark = 2;

std::int64_t shown_line(std::uint32_t line) {
    return line == 0 || line == unknown_line ? -1 : static_cast<std::int64_t>(line);
}

// How often it ran follows from the edges: the page adds them up.
void write_block(const Block& block, JsonWriter& json) {
    json.open_array();
    json.integer(shown_line(block.position.line));
    json.integer(block.position.column);
    json.integer(block.position.discriminator);
    json.integer((block.is_entry ? entry_mark : 0) | (block.is_exit ? exit_mark : 0));
    json.close_array();
}

// The index of the block at the address, which must be that of one.
std::int64_t index_of(const std::vector<Block>& blocks, std::uint64_t address) {
    const auto place = std::lower_bound(
        blocks.begin(), blocks.end(), address,
        [](const Block& block, std::uint64_t wanted) { return block.address < wanted; });
    return place - blocks.begin();
}

void write_blocks_and_edges(const Function& function, JsonWriter& json) {
    const std::vector<Block> blocks = blocks_of(function);
    json.key("b").open_array();
    for (const Block& block : blocks) write_block(block, json);
    json.close_array();
    json.key("e").open_array();
    for (const Edge& edge : function.edges) {
        json.open_array();
        json.integer(index_of(blocks, edge.from_address));
        json.integer(index_of(blocks, edge.to_address));
        json.count(edge.count);
        json.close_array();
    }
    json.close_array();
}

void write_calls(const Function& function, const FunctionIds& ids, JsonWriter& json) {
    CalleeNumbers numbers(ids);
    json.key("c").open_array();
    for (const Call& call : function.calls) {
        json.open_array();
        json.integer(shown_line(call.line));
        json.integer(numbers.number_of(call.callee));
        json.count(call.count);
        json.close_array();
    }
    json.close_array();
    json.key("names");
    numbers.write_names(json);
}

void write_lines(const LineCounts& lines, JsonWriter& json) {
    json.key("l").open_array();
    for (const auto& [line, count] : lines) {
        json.open_array();
        json.integer(line);
        json.count(count);
        json.close_array();
    }
    json.close_array();
}

}  // namespace

std::size_t functions_of_segment(const Profile& profile) {
    std::size_t edges = 1;
    for (const Function& function : profile.functions) edges += function.edges.size();
    return std::clamp(profile.functions.size() * edges_of_segment / edges, std::size_t{1},
                      most_functions);
}

void write_flow_segment(const FunctionIds& ids, const ViewLines& lines, std::size_t first,
                        std::size_t end, JsonWriter& json) {
    json.open_object();
    json.key("first").integer(static_cast<std::int64_t>(first));
    json.key("functions").open_array();
    for (std::size_t id = first; id < end; ++id) {
        json.open_object();
        write_blocks_and_edges(ids[id], json);
        write_calls(ids[id], ids, json);
        if (lines.has_program()) write_lines(lines.of_function(ids[id]), json);
        json.close_object();
    }
    json.close_array();
    json.close_object();
}

}  // namespace edgescope
