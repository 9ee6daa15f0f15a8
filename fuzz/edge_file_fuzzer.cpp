// The edge reader: on bytes of any kind, against a second reader, in batches and row by row.
#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/function_record_set.h"
#include "hotpath/model/hotpath_allocator.h"
#include "hotpath/readers/edge_reader.h"
#include "naive_edge_reader.h"
#include "support/edge_file.h"

namespace {

using Factory = hotpath::FunctionRecordFactoryImpl<hotpath::AllocatorOnHeap>;

constexpr const char* short_header =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount\n";

std::FILE* file_of(std::string& bytes) { return fmemopen(bytes.data(), bytes.size(), "r"); }

// What the tool's reader makes of the rows, in batches of at most `batch` lines.
std::string read_rows(std::string& bytes, std::size_t batch) {
    Factory factory;
    hotpath::FunctionRecordSet set(factory);
    hotpath::EdgeStream stream(file_of(bytes));
    std::string_view header;
    stream.next_line(header);
    hotpath::EdgeColumnMap columns;
    if (!hotpath::parse_edge_header(header, columns)) return "no edge file";
    hotpath::EdgeFold fold(hotpath::EdgeLayout(columns), set, factory);
    std::array<std::string_view, hotpath::EdgeFold::batch_size> lines;
    const std::span batch_lines(lines.data(), batch);
    while (const std::size_t count = stream.next_lines(batch_lines))
        fold.add_rows(batch_lines.first(count));
    fold.finish();
    set.add_runs(1);
    return fuzz::profile_text(set);
}

// Each line is cut alike by the quick rule and by the whole one.
void check_split(std::string& bytes) {
    hotpath::EdgeStream stream(file_of(bytes));
    std::vector<std::string_view> fields;
    std::vector<std::string_view> quick(20);
    std::string_view line;
    while (stream.next_line(line)) {
        const auto limit = static_cast<std::uint32_t>(1 + line.size() % quick.size());
        const std::uint32_t count = hotpath::split_plain_fields(line, limit, quick.data());
        if (count == hotpath::split_by_rule) continue;
        hotpath::split_fields(line, limit, fields);
        fuzz::require(
            std::equal(fields.begin(), fields.end(), quick.begin(), quick.begin() + count),
            "a line's fields");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::string headers[] = {"", test_support::edge_header(), short_header};
    const std::string& header = headers[input.below(std::size(headers))];
    std::string bytes = header + std::string(input.rest());
    check_split(bytes);
    fuzz::NaiveEdgeReader naive;
    const std::string expected =
        naive.read(bytes) ? fuzz::profile_text(naive.profile()) : "no edge file";
    fuzz::require_equal(expected, read_rows(bytes, hotpath::EdgeFold::batch_size),
                        "a profile read in batches");
    fuzz::require_equal(expected, read_rows(bytes, 1), "a profile read row by row");
    return 0;
}
