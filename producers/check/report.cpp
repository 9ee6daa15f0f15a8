#include "check/report.h"

#include <fmt/format.h>

namespace check {
namespace {

constexpr std::array<const char*, static_cast<std::size_t>(Loss::number_of_losses)> loss_names = {
    "too few fields",      "unknown line",        "position mismatch",
    "unknown callee (NA)", "unknown branch type", "count rounded"};

std::string first_line_text(const RowTally& tally) {
    return tally.first_line == 0 ? "" : fmt::format(", first in line {}", tally.first_line);
}

}  // namespace

std::string report_text(const std::string& name, const FileTally& tally) {
    std::string text = fmt::format("{}: {} rows\n", name, tally.kept_rows() + tally.lost_rows());
    text += fmt::format("  kept: {} rows, {} hits (edges {}, calls {}, returns {})\n",
                        tally.kept_rows(), tally.kept_hits(), tally.edges.hits, tally.calls.hits,
                        tally.returns.hits);
    text += fmt::format("  lost: {} rows, {} hits, {:.2f} %\n", tally.lost_rows(),
                        tally.lost_hits(), tally.lost_percent());
    for (std::size_t i = 0; i < loss_names.size(); ++i) {
        const RowTally& loss = tally.losses[i];
        if (loss.rows == 0) continue;
        text += fmt::format("    {}: {} rows, {} hits{}\n", loss_names[i], loss.rows, loss.hits,
                            first_line_text(loss));
    }
    if (tally.odd_numbers.rows != 0)
        text += fmt::format("  odd numbers: {} rows{}\n", tally.odd_numbers.rows,
                            first_line_text(tally.odd_numbers));
    return text;
}

}  // namespace check
