// A second, plain reader of edge files to hold the tool's own against: one line after the other,
// ordered maps, the C library's numbers. It shares with the tool the rewriting of names alone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hotpath/names/name_normaliser.h"
#include "hotpath/readers/edge_numbers.h"
#include "naive_profile.h"

namespace fuzz {

class NaiveEdgeReader {
public:
    const NaiveProfile& profile() const { return profile_; }

    // False if the first line isn't that of an edge file.
    bool read(std::string_view bytes) {
        if (!read_header(take_line(bytes))) return false;
        while (!bytes.empty()) read_row(take_line(bytes));
        mark_edges();
        for (const auto& [names, totals] : totals_)
            profile_.function(names.first, names.second).count +=
                std::max({totals.called_in, totals.entry_hits, totals.returned});
        profile_.runs = 1;
        return true;
    }

private:
    using Fields = std::vector<std::string_view>;

    struct Totals {
        std::uint64_t called_in = 0;
        std::uint64_t entry_hits = 0;
        std::uint64_t returned = 0;
    };

    static std::string_view take_line(std::string_view& bytes) {
        const std::size_t lf = bytes.find('\n');
        std::string_view line = bytes.substr(0, lf);
        bytes.remove_prefix(lf == std::string_view::npos ? bytes.size() : lf + 1);
        if (lf != std::string_view::npos && line.ends_with('\r')) line.remove_suffix(1);
        return line;
    }

    static Fields split(std::string_view line) {
        Fields fields;
        line.remove_prefix(std::min(line.find_first_not_of(','), line.size()));
        if (line.empty()) return fields;
        for (bool first = true;; first = false) {
            std::size_t end = line.find(',', first ? 1 : 0);
            if (!first && line.starts_with('[')) {
                const std::size_t bracket = line.find(']');
                end = bracket >= line.size() - 1 ? std::string_view::npos : bracket + 1;
            }
            fields.push_back(line.substr(0, end));
            if (end == std::string_view::npos) return fields;
            line.remove_prefix(end + 1);
        }
    }

    bool read_header(std::string_view line) {
        const Fields names = split(line);
        for (std::size_t i = 0; i < names.size(); ++i) columns_[std::string(names[i])] = i;
        std::size_t largest = 0;
        for (const char* name :
             {"FromAddress", "TypeOfBranch", "FromSourceFile", "FromSourceLine",
              "FromFunctionMangled", "DestinationEndOfBlockAddress", "DestinationSourceFile",
              "DestinationSourceLine", "DestinationFunctionMangled", "HitCount"}) {
            if (!columns_.contains(name)) return false;
            largest = std::max(largest, columns_[name]);
        }
        if (columns_.contains("EntryBlock")) largest = std::max(largest, columns_["EntryBlock"]);
        for (const char* kind : {"SourceColumn", "SourceDiscriminator", "SourceOffsetLine"}) {
            const std::string from = std::string("From") + kind;
            const std::string to = std::string("Destination") + kind;
            if (columns_.contains(from) && columns_.contains(to))
                largest = std::max({largest, columns_[from], columns_[to]});
            else
                columns_.erase(from), columns_.erase(to);
        }
        needed_ = largest + 1;
        return true;
    }

    std::string text(const Fields& fields, const char* column) const {
        return std::string(fields[columns_.at(column)]);
    }

    // A NUL ends a name.
    std::string name(const Fields& fields, const char* column) const {
        return text(fields, column).c_str();
    }

    // The number of an optional column's field is 0 where the column isn't there.
    std::uint32_t number(const Fields& fields, const std::string& column) const {
        const auto found = columns_.find(column);
        if (found == columns_.end()) return 0;
        std::string digits(fields[found->second]);
        std::erase(digits, ',');
        return static_cast<std::uint32_t>(std::strtoll(digits.c_str(), nullptr, 10));
    }

    std::uint64_t address(const Fields& fields, const char* column) const {
        return std::strtoull(text(fields, column).c_str(), nullptr, 16);
    }

    hotpath::SourcePosition position(const Fields& fields, const std::string& end) const {
        return {number(fields, end + "SourceLine"), number(fields, end + "SourceOffsetLine"),
                number(fields, end + "SourceColumn"), number(fields, end + "SourceDiscriminator")};
    }

    void read_row(std::string_view line) {
        Fields fields = split(line);
        if (fields.size() < needed_) return;
        const std::string file = name(fields, "FromSourceFile");
        const std::string raw = name(fields, "FromFunctionMangled");
        const std::string to_raw = name(fields, "DestinationFunctionMangled");
        const std::string from_name = normaliser_.normalise(raw.c_str());
        NaiveFunction& from = profile_.function(file, from_name);
        if (number(fields, "FromSourceColumn") != 0 ||
            number(fields, "DestinationSourceColumn") != 0)
            from.flags |= 2;
        if (number(fields, "FromSourceDiscriminator") != 0 ||
            number(fields, "DestinationSourceDiscriminator") != 0)
            from.flags |= 1;
        const std::uint64_t hits = hotpath::parse_count(fields[columns_.at("HitCount")]);
        Totals& totals = totals_[{file, from_name}];
        const std::string type = text(fields, "TypeOfBranch");
        if (raw == to_raw) {
            add_edge(fields, from, totals, hits);
        } else if ((type == "Call" || type == "IndCall" || type == "Jump" || type == "IndJump") &&
                   to_raw != "NA") {
            add_call(fields, from, to_raw, hits);
        } else if (type == "Ret") {
            return_sources_.insert(address(fields, "FromAddress"));
            totals.returned += hits;
        }
    }

    void add_edge(const Fields& fields, NaiveFunction& from, Totals& totals, std::uint64_t hits) {
        const hotpath::SourcePosition start = position(fields, "From");
        const hotpath::SourcePosition end = position(fields, "Destination");
        if (start.line == 0xFFFFFFFF || end.line == 0xFFFFFFFF) return;
        const AddressPair addresses(address(fields, "FromAddress"),
                                    address(fields, "DestinationEndOfBlockAddress"));
        NaiveEdge& edge = from.add_edge(addresses, start, end, hits);
        seen_edges_.push_back({addresses, &edge});
        if (columns_.contains("EntryBlock") && text(fields, "EntryBlock") == "yes") {
            edge.entry = true;
            totals.entry_hits += hits;
        }
    }

    void add_call(const Fields& fields, NaiveFunction& from, const std::string& to_raw,
                  std::uint64_t hits) {
        const std::string callee = normaliser_.normalise(to_raw.c_str());
        from.add_call(callee, number(fields, "FromSourceLine"),
                      number(fields, "FromSourceOffsetLine"), hits);
        const std::string file = name(fields, "DestinationSourceFile");
        profile_.function(file, callee);
        totals_[{file, callee}].called_in += hits;
        entry_targets_.insert(address(fields, "DestinationEndOfBlockAddress"));
    }

    void mark_edges() const {
        for (const auto& [addresses, edge] : seen_edges_) {
            if (entry_targets_.contains(addresses.first)) edge->entry = true;
            if (return_sources_.contains(addresses.second)) edge->exit = true;
        }
    }

    hotpath::NameNormaliser normaliser_;
    std::map<std::string, std::size_t> columns_;
    std::size_t needed_ = 0;
    NaiveProfile profile_;
    std::map<std::pair<std::string, std::string>, Totals> totals_;
    std::vector<std::pair<AddressPair, NaiveEdge*>> seen_edges_;
    std::set<std::uint64_t> entry_targets_;
    std::set<std::uint64_t> return_sources_;
};

}  // namespace fuzz
