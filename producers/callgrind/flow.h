#pragma once
// How control went between blocks. The recording counts instructions, jumps and calls; how often a
// block was left at its lower end, and which return went where, follows from these counts, since
// what enters a block leaves it.

#include <map>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "callgrind/run.h"
#include "edgefile/edge_table.h"
#include "edgefile/programs.h"

namespace callgrind {

class Flow {
public:
    // The code is cut into blocks at the run's targets already. Both have to live as long as this.
    Flow(const edgefile::Code& code, const Run& run) : code_(code), run_(run) {}

    // Each transfer once.
    std::vector<edgefile::Transfer> transfers();

private:
    // What a function left by: a return, or a jump to another function, which then returns in its
    // place.
    struct Exit {
        bool is_return = false;
        Place place = edgefile::foreign;  // of the return, or the start of the other function
        Count count = 0;
    };
    // Calls of a function that came back.
    struct Return {
        Place function = edgefile::foreign;
        Place back = edgefile::foreign;
        Count count = 0;
    };

    void add(Place source, edgefile::Word word, Place destination, Count count);
    void add_branches();
    void count_blocks();
    void add_fall_throughs();
    void add_returns();
    void collect_exits();
    void add_exit(Place function, bool is_return, Place place, Count count);
    std::vector<Return> calls_that_came_back() const;
    void add_returns_of_site(Place site, std::vector<std::pair<Place, Count>> callees,
                             std::vector<Return>& returns) const;
    bool is_call(Place place) const;
    Place function_of(Place place) const;
    Count count_of(const std::unordered_map<Place, Count>& counts, Place place) const;

    const edgefile::Code& code_;
    const Run& run_;
    std::map<std::tuple<Place, edgefile::Word, Place>, Count> rows_;
    std::unordered_map<Place, Count> taken_;         // of each branch instruction
    std::unordered_map<Place, Count> arrived_;       // by jumps, at each place
    std::vector<std::pair<Place, Count>> blocks_;    // last instruction -> times executed, in order
    std::unordered_map<Place, Count> block_counts_;  // the same
    std::unordered_map<Place, std::vector<Exit>> exits_;
};

}  // namespace callgrind
