#include "edgescope/profile.h"

#include "edgescope/counts.h"

namespace edgescope {

bool has_file(const Function& function) {
    // The producers of edge files write "NA", a symbolizer may write the other.
    return !function.file.empty() && function.file != "NA" && function.file != "??";
}

bool can_be_summed(const Profile& profile) {
    std::uint64_t sum = 0;
    for (const Function& function : profile.functions) add_count(sum, sum_of_counts(function));
    return sum <= largest_sum;
}

std::uint64_t sum_of_counts(const Function& function) {
    std::uint64_t sum = function.count;
    for (const Edge& edge : function.edges) add_count(sum, edge.count);
    for (const Call& call : function.calls) add_count(sum, call.count);
    return sum;
}

std::uint64_t total_entries(const Profile& profile) {
    std::uint64_t sum = 0;
    for (const Function& function : profile.functions) sum += function.count;
    return sum;
}

std::uint64_t total_edge_count(const Function& function) {
    std::uint64_t sum = 0;
    for (const Edge& edge : function.edges) sum += edge.count;
    return sum;
}

std::uint64_t total_edge_count(const Profile& profile) {
    std::uint64_t sum = 0;
    for (const Function& function : profile.functions) sum += total_edge_count(function);
    return sum;
}

std::uint64_t total_call_count(const Profile& profile) {
    std::uint64_t sum = 0;
    for (const Function& function : profile.functions)
        for (const Call& call : function.calls) sum += call.count;
    return sum;
}

}  // namespace edgescope
