// Reads databases and adds them up to one profile.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "edgescope/message.h"
#include "edgescope/profile.h"

namespace edgescope {

// How files are read.
struct ReadSettings {
    hotpath::ReadGuard guard;
    bool is_trusted = false;  // no guard
};

// Rows that the merge tool wouldn't read, since what they belong to isn't there.
struct DanglingRows {
    std::uint64_t edges = 0;
    std::uint64_t calls = 0;
    std::uint64_t functions = 0;       // of a file that has no row
    std::uint64_t nameless_calls = 0;  // without a callee
};

// Adds up databases in the order in which they are given.
class ProfileSum {
public:
    // Adds the database at `path`. False, with a message, if it can't be read to its end; the sum
    // is of no use then.
    [[nodiscard]] bool add(const std::string& path, const ReadSettings& settings,
                           ProgressBar& progress);

    // Adds what was read before.
    void add(const Profile& profile);

    // The sum, in its final order. Called once. A count that doesn't fit into 64 bits is the
    // largest one.
    Profile finish();

    const DanglingRows& dangling_rows() const { return dangling_; }

    // False if a database has no number of runs.
    bool all_have_runs() const { return all_have_runs_; }

private:
    // A function's row and what the database says of it.
    struct Row {
        std::int64_t id;
        std::size_t function;  // its index
        std::vector<Edge> edges;
        std::vector<Call> calls;
    };

    bool read(hotpath::RowReader& reader, ProgressBar& progress);
    bool read_runs(hotpath::RowReader& reader);
    bool read_functions(hotpath::RowReader& reader);
    std::size_t place_of(Function&& function);
    void add_function(const hotpath::rows::Function& row,
                      const std::unordered_map<std::int64_t, std::string>& files);
    bool read_edges(hotpath::RowReader& reader, ProgressBar& progress);
    bool read_calls(hotpath::RowReader& reader, ProgressBar& progress);
    Row* find_row(std::int64_t id);
    void absorb_rows();

    Profile profile_;
    std::unordered_map<std::string, std::size_t> by_key_;  // indexes in `profile_`
    std::vector<Row> rows_;                                // of the database that is read, by id
    std::size_t last_row_ = 0;                             // the last one found
    DanglingRows dangling_;
    bool all_have_runs_ = true;
};

// False, with a message, if the counts of the profile, of the database at `path`, are too large for
// sums of them.
[[nodiscard]] bool accept_sums(const Profile& profile, const std::string& path);

// The sum of all databases; nothing, with a message, if one can't be read or the counts are too
// large for sums.
std::optional<Profile> read_profile(const std::vector<std::string>& paths,
                                    const ReadSettings& settings);

}  // namespace edgescope
