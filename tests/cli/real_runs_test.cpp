// Edge files of real runs, summed a second time here: a plain reading of the rules with ordered
// maps, good for what stands in these files, against the database that the program makes of them.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "cli_support.h"

namespace cli {
namespace {

using Function = std::pair<std::string, std::string>;           // name, folded file
using Edge = std::tuple<Function, std::int64_t, std::int64_t>;  // its addresses
using Call = std::tuple<Function, std::string, std::int64_t>;   // callee and line
using Position = std::array<std::int64_t, 4>;                   // as the file has it

struct EdgeData {
    Position from{};
    Position to{};
    std::uint64_t count = 0;
    bool is_entry = false;
    bool is_exit = false;

    bool operator==(const EdgeData&) const = default;
};

// What one database holds.
struct Samples {
    std::map<Function, std::uint64_t> functions;
    std::map<Function, std::uint64_t> flags;
    std::map<Edge, EdgeData> edges;
    std::map<Call, std::pair<std::int64_t, std::uint64_t>> calls;  // relative line and count
};

// The first suffix of a name is taken out, and an encoded path becomes a fixed text.
std::string key_name(std::string name) {
    const std::size_t dot = name.find('.');
    if (dot != std::string::npos) {
        std::size_t tail = dot + 1;
        while (tail < name.size() && name[tail] >= '0' && name[tail] <= '9') ++tail;
        name.erase(dot, tail - dot);
    }
    std::string result;
    std::size_t rest = 0;
    for (std::size_t mark = 0; (mark = name.find("__N_", rest)) != std::string::npos;) {
        const std::size_t length = std::strtoull(name.c_str() + mark + 4, nullptr, 10);
        const std::size_t bar = name.find('_', mark + 4);
        if (bar == std::string::npos || name.size() - bar - 1 < length) return name;
        result += name.substr(rest, mark - rest) + "(anon ns)";
        rest = bar + 1 + length;
    }
    return result + name.substr(rest);
}

// A stored edge count is read back as 32 bits with their sign.
std::uint64_t reloaded(std::uint64_t count) {
    return static_cast<std::uint64_t>(
        static_cast<std::int64_t>(static_cast<std::int32_t>(static_cast<std::uint32_t>(count))));
}

// One row, with its fields by the names of their columns.
class CsvRow {
public:
    CsvRow(const std::vector<std::string>& names, const std::string& line) {
        std::istringstream fields(line);
        std::string field;
        for (const std::string& name : names) {
            std::getline(fields, field, ',');
            fields_[name] = field;
        }
    }

    const std::string& text(const std::string& column) const { return fields_.at(column); }
    std::int64_t decimal(const std::string& column) const { return std::stoll(text(column)); }
    std::int64_t address(const std::string& column) const {
        return static_cast<std::int64_t>(std::stoull(text(column), nullptr, 16));
    }
    std::uint64_t hits() const {
        return static_cast<std::uint64_t>(std::strtof(text("HitCount").c_str(), nullptr));
    }
    Position position(const std::string& end) const {
        return {decimal(end + "SourceLine"), decimal(end + "SourceOffsetLine"),
                decimal(end + "SourceColumn"), decimal(end + "SourceDiscriminator")};
    }
    Function function(const std::string& end) const {
        std::string file = text(end + "SourceFile");
        for (char& letter : file)
            if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
        return {key_name(text(end + "FunctionMangled")), file};
    }

private:
    std::map<std::string, std::string> fields_;
};

std::vector<CsvRow> rows_of(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    std::istringstream header(line);
    std::vector<std::string> names;
    for (std::string name; std::getline(header, name, ',');) names.push_back(name);
    std::vector<CsvRow> rows;
    while (std::getline(file, line)) rows.emplace_back(names, line);
    EXPECT_GT(rows.size(), 1000U) << path;
    return rows;
}

// The sums of one file.
class Summing {
public:
    explicit Summing(const std::vector<CsvRow>& rows) {
        for (const CsvRow& row : rows) add(row);
        for (auto& [edge, data] : samples_.edges) {
            data.is_entry |= entered_.count(std::get<1>(edge)) != 0;
            data.is_exit |= left_.count(std::get<2>(edge)) != 0;
        }
        for (const auto& [function, totals] : totals_)
            samples_.functions[function] += *std::max_element(totals.begin(), totals.end());
    }

    const Samples& samples() const { return samples_; }

private:
    void add(const CsvRow& row) {
        const Function function = row.function("From");
        samples_.functions[function];
        std::uint64_t& flags = samples_.flags[function];
        const Position from = row.position("From");
        const Position to = row.position("Destination");
        if (from[2] != 0 || to[2] != 0) flags |= 2U;
        if (from[3] != 0 || to[3] != 0) flags |= 1U;
        const std::string& callee = row.text("DestinationFunctionMangled");
        const std::string& type = row.text("TypeOfBranch");
        if (row.text("FromFunctionMangled") == callee) {
            if (from[0] != -1 && to[0] != -1) add_edge(row, function, from, to);
        } else if (type == "Ret") {
            left_.insert(row.address("FromAddress"));
            totals_[function][2] += row.hits();
        } else if (callee != "NA" &&
                   (type == "Call" || type == "IndCall" || type == "Jump" || type == "IndJump")) {
            add_call(row, function, from);
        }
    }

    void add_edge(const CsvRow& row, const Function& function, const Position& from,
                  const Position& to) {
        const Edge edge{function, row.address("FromAddress"),
                        row.address("DestinationEndOfBlockAddress")};
        EdgeData& data = samples_.edges.try_emplace(edge, EdgeData{from, to}).first->second;
        data.count += row.hits();
        if (row.text("EntryBlock") != "yes") return;
        data.is_entry = true;
        totals_[function][1] += row.hits();
    }

    void add_call(const CsvRow& row, const Function& function, const Position& from) {
        const Function callee = row.function("Destination");
        const Call call{function, callee.first, from[0]};
        samples_.calls.try_emplace(call, from[1], 0).first->second.second += row.hits();
        samples_.functions[callee];
        samples_.flags[callee];
        totals_[callee][0] += row.hits();
        entered_.insert(row.address("DestinationEndOfBlockAddress"));
    }

    Samples samples_;
    std::map<Function, std::array<std::uint64_t, 3>> totals_;
    std::set<std::int64_t> entered_;
    std::set<std::int64_t> left_;
};

class RealRun : public CliTest, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        const std::string example = test_support::example_path(GetParam());
        ASSERT_TRUE(std::filesystem::exists(example)) << example;
        std::filesystem::copy_file(example, path("run.csv"));
        make_database("x.db");
        merge("run.csv", "-append", "x.db");
    }

    static std::uint64_t number(const std::string& text) {
        return static_cast<std::uint64_t>(std::stoll(text));
    }

    Samples stored(const std::string& database) const {
        Samples samples;
        const std::string functions =
            " JOIN sf_functions f ON f.sf_id = sf_from_func_id "
            "JOIN sf_filenames n ON n.sf_id = f.sf_file_id";
        for (const Row& row : query(database,
                                    "SELECT sf_func_name, sf_filename, f.sf_exec_count, "
                                    "sf_flags FROM sf_functions f "
                                    "JOIN sf_filenames n ON n.sf_id = sf_file_id")) {
            samples.functions[{row[0], row[1]}] = number(row[2]);
            samples.flags[{row[0], row[1]}] = number(row[3]);
        }
        for (const Row& row :
             query(database, "SELECT sf_func_name, sf_filename, e.* FROM sf_edges e" + functions)) {
            const auto position = [&](std::size_t first) {
                return Position{std::stoll(row[first]), std::stoll(row[first + 1]),
                                std::stoll(row[first + 2]), std::stoll(row[first + 3])};
            };
            const std::uint64_t bits = number(row[15]);
            samples.edges[{{row[0], row[1]}, std::stoll(row[3]), std::stoll(row[9])}] = {
                position(4), position(10), number(row[14]), (bits & 1U) != 0, (bits & 2U) != 0};
        }
        for (const Row& row :
             query(database, "SELECT sf_func_name, sf_filename, c.* FROM sf_calls c" + functions))
            samples.calls[{{row[0], row[1]}, row[5], std::stoll(row[3])}] = {std::stoll(row[4]),
                                                                             number(row[6])};
        return samples;
    }

    void expect_stored(const std::string& database, const Samples& expected) const {
        const Samples actual = stored(database);
        EXPECT_TRUE(actual.functions == expected.functions);
        EXPECT_TRUE(actual.flags == expected.flags);
        EXPECT_TRUE(actual.edges == expected.edges);
        EXPECT_TRUE(actual.calls == expected.calls);
        EXPECT_EQ(rows(database, "SELECT COUNT(*) FROM sf_functions"),
                  std::to_string(expected.functions.size()) + "\n");
        EXPECT_EQ(rows(database, "SELECT COUNT(*) FROM sf_edges"),
                  std::to_string(expected.edges.size()) + "\n");
        EXPECT_EQ(rows(database, "SELECT COUNT(*) FROM sf_calls"),
                  std::to_string(expected.calls.size()) + "\n");
    }

    Samples summed() const { return Summing(rows_of(path("run.csv"))).samples(); }

    // The sums with every count doubled; of an edge's two counts `times` were read from a database.
    static Samples doubled(Samples samples, int times_reloaded) {
        for (auto& function : samples.functions) function.second *= 2;
        for (auto& call : samples.calls) call.second.second *= 2;
        for (auto& edge : samples.edges) {
            const std::uint64_t count = edge.second.count;
            edge.second.count = reloaded(count) + (times_reloaded == 2 ? reloaded(count) : count);
        }
        return samples;
    }
};

TEST_P(RealRun, gives_the_sums_of_its_rows) {
    expect_stored("x.db", summed());
    EXPECT_EQ(runs("x.db"), "num_runs|1\n");
}

TEST_P(RealRun, appended_again_gives_twice_the_sums) {
    merge("run.csv", "-append", "x.db");
    expect_stored("x.db", doubled(summed(), 1));
    EXPECT_EQ(runs("x.db"), "num_runs|2\n");
}

TEST_P(RealRun, passes_through_a_database_with_32_bits_of_an_edge_count) {
    make_database("y.db");
    merge("x.db", "-append", "y.db");
    Samples expected = summed();
    for (auto& edge : expected.edges) edge.second.count = reloaded(edge.second.count);
    expect_stored("y.db", expected);
    EXPECT_EQ(runs("y.db"), "num_runs|1\n");
}

TEST_P(RealRun, as_a_database_appended_to_itself_gives_twice_the_sums) {
    merge("x.db", "-append", "x.db");
    expect_stored("x.db", doubled(summed(), 2));
    EXPECT_EQ(runs("x.db"), "num_runs|2\n");
}

TEST_P(RealRun, is_reported_with_all_its_edges_and_calls) {
    const Outcome outcome = run_plain({"-file", "run.csv", "-dump"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    const auto lines_that_begin = [&](const std::string& begin) {
        std::size_t count = 0;
        for (std::size_t i = 0; (i = outcome.out.find("\n" + begin, i)) != std::string::npos; ++i)
            ++count;
        return count;
    };
    const Samples expected = summed();
    EXPECT_EQ(lines_that_begin("ENTRY: "), expected.functions.size());
    EXPECT_EQ(lines_that_begin("    0x08"), expected.edges.size());
}

INSTANTIATE_TEST_SUITE_P(Each, RealRun,
                         testing::Values("minigzip.csv", "gtest-run1.csv", "fasttree.csv"));

}  // namespace
}  // namespace cli
