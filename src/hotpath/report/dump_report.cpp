#include "hotpath/report/dump_report.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "diag/ascii.h"
#include "diag/message_catalogue.h"
#include "diag/reporter.h"
#include "hotpath/report/report_stream.h"

namespace hotpath {
namespace {

constexpr std::size_t count_width = 12;
constexpr std::size_t line_width = 4;

// The catalogue's texts, fetched once for a whole report.
struct ReportTexts {
    const std::string header = diag::message_text(diag::PT_edgefold_header).get();
    const std::string file = diag::message_text(diag::PT_edgefold_file_tag).get();
    const std::string function = diag::message_text(diag::PT_edgefold_func_tag).get();
    const std::string separator = diag::message_text(diag::PT_edgefold_dump_separator_tag).get();
    const std::string edges = diag::message_text(diag::PT_edgefold_edge_collection_tag).get();
    const std::string edge_header = diag::message_text(diag::PT_edgefold_edge_header_tag).get();
    const std::string calls = diag::message_text(diag::PT_edgefold_call_collection_tag).get();
    const std::string call_header = diag::message_text(diag::PT_edgefold_call_header_tag).get();
};

enum class EdgeOrder { by_addresses, by_count, by_line };

EdgeOrder edge_order(const char* sort) {
    switch (diag::to_upper(sort[0])) {
        case 'A': return EdgeOrder::by_addresses;
        case 'C': return EdgeOrder::by_count;
        default: return EdgeOrder::by_line;
    }
}

bool is_descending(const char* sort) { return sort[0] != '\0' && sort[1] == '-'; }

// An edge and its sort key: three numbers that are compared one after the other.
struct SortedEdge {
    std::uint64_t first;
    std::uint64_t second;
    std::uint64_t third;
    const EdgeRecord* edge;
};

// One number that compares as `position_less` does.
std::uint64_t position_number(const SourcePosition& position) {
    return (std::uint64_t{position.line} << 32) | (std::uint64_t{position.column} << 16) |
           position.discriminator;
}

// Sorts edges as the option's text asks. The numbers of a descending order are complements, so one
// comparison serves both directions.
class EdgeSorter {
public:
    explicit EdgeSorter(const char* sort)
        : order_(edge_order(sort)), flip_(is_descending(sort) ? ~std::uint64_t{0} : 0) {}

    // The record's edges in order; valid until the next call.
    const std::vector<SortedEdge>& sort(const FunctionRecord& record) {
        record.copy_edges(edges_);
        sorted_.clear();
        for (const EdgeRecord* edge : edges_) sorted_.push_back(place(*edge));
        const auto before = [](const SortedEdge& a, const SortedEdge& b) {
            return std::tie(a.first, a.second, a.third) < std::tie(b.first, b.second, b.third);
        };
        if (!std::is_sorted(sorted_.begin(), sorted_.end(), before))
            std::sort(sorted_.begin(), sorted_.end(), before);
        return sorted_;
    }

private:
    SortedEdge place(const EdgeRecord& edge) const {
        const std::uint64_t from = edge.from_address() ^ flip_;
        const std::uint64_t to = edge.to_address() ^ flip_;
        switch (order_) {
            case EdgeOrder::by_addresses: return {from, to, 0, &edge};
            case EdgeOrder::by_count: return {edge.exec_count() ^ flip_, from, to, &edge};
            case EdgeOrder::by_line: break;
        }
        // Edges that leave one position stand in the order of their creation, in both directions,
        // so that the report doesn't depend on how a library sorts.
        return {position_number(edge.from_position()) ^ flip_, edge.edge_index(), 0, &edge};
    }

    EdgeOrder order_;
    std::uint64_t flip_;  // all bits for a descending order, none for an ascending one
    std::vector<EdgeRecord*> edges_;
    std::vector<SortedEdge> sorted_;
};

// One report on its way to the standard output stream. The vectors are reused from record to
// record.
class DumpReport {
public:
    explicit DumpReport(const char* sort) : sorter_(sort) {}

    void print(const FunctionRecordSet& records) {
        // The text says file count, but a database stands for as many runs as were merged in it.
        print_filled(texts_.header, static_cast<std::int32_t>(records.num_runs()));
        for (FunctionRecordInterface* record : records.records_by_key())
            print_record(*record->get_full_record());
        out_.flush();
    }

private:
    void print_record(const FunctionRecord& record) {
        print_line(texts_.separator);
        print_filled(texts_.file, record.get_file_name());
        print_filled(texts_.function, record.get_function_name());
        print_line("");
        print_edges(record);
        print_line("");
        print_calls(record);
    }

    void print_edges(const FunctionRecord& record) {
        print_line(texts_.edges);
        print_line("");
        print_line(texts_.edge_header);
        for (const SortedEdge& sorted : sorter_.sort(record)) print_edge(*sorted.edge);
    }

    void print_edge(const EdgeRecord& edge) {
        PositionText position;
        // "0x08" is plain text in front of the number and no width, so 0x1a0 shows as "0x081a0":
        // the report's form, which programs read.
        out_.put("    0x08");
        out_.put_hexadecimal(edge.from_address());
        out_.put("\t0x08");
        out_.put_hexadecimal(edge.to_address());
        out_.put("\t");
        out_.put(format_short(edge.from_position(), position));
        out_.put("\t");
        out_.put(format_short(edge.to_position(), position));
        out_.put("\t");
        out_.put_grouped(edge.exec_count(), count_width);
        out_.put("\n");
    }

    void print_calls(const FunctionRecord& record) {
        print_line(texts_.calls);
        print_line("");
        if (record.call_count() == 0) return;
        print_line(texts_.call_header);
        record.copy_calls(calls_);
        for (const CallRecord* call : calls_) print_call(*call);
        print_line("");
    }

    void print_call(const CallRecord& call) {
        out_.put("    ");
        out_.put_decimal(call.line, line_width);
        out_.put("        ");
        out_.put_grouped(call.exec_count, count_width);
        out_.put("    ");
        print_line(call.callee_name);
    }

    void print_line(std::string_view text) {
        out_.put(text);
        out_.put("\n");
    }

    template <class Value>
    void print_filled(std::string_view text, const Value& value) {
        const diag::FillIn fill_ins[] = {diag::FillIn(value)};
        diag::fill_in(text, fill_ins, [this](std::string_view piece) { out_.put(piece); });
        out_.put("\n");
    }

    ReportTexts texts_;
    ReportStream out_{stdout};
    EdgeSorter sorter_;
    std::vector<const CallRecord*> calls_;
};

}  // namespace

void dump_report(const FunctionRecordSet& records, const char* sort) {
    DumpReport(sort).print(records);
}

}  // namespace hotpath
