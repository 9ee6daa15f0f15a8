#pragma once
// What a recording says about the programs of a conversion, by place: how often each instruction
// ran and each jump or call was made. Ready for the question how control went between blocks, which
// `flow` answers.

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "callgrind/recording.h"
#include "edgefile/edge_table.h"
#include "edgefile/programs.h"

namespace callgrind {

using edgefile::Place;

// How well the recording of a program's object fits the file that was given.
struct Fit {
    bool is_recorded = false;
    std::uint64_t places = 0;   // that were recorded: instructions and sources of jumps
    std::uint64_t misfits = 0;  // those that the file can't have
};

class Run {
public:
    // `code` has to live as long as this.
    Run(const edgefile::Code& code, const Recording& recording);

    // For the program of each number. Nothing may be asked of a run whose program 0 isn't recorded.
    const std::vector<Fit>& fits() const { return fits_; }
    // Empty where no object of the recording is meant by two programs, else what to say.
    const std::string& problem() const { return problem_; }
    bool has_jumps() const { return has_jumps_; }
    // The share of the instructions executed that none of the programs has, from 0 to 1.
    double share_outside() const;

    // Where jumps and calls lead to, in the programs.
    std::vector<Place> targets() const;

    // Times that the instruction was reached.
    Count executed(Place place) const;
    // The instructions that ran, in order.
    const std::vector<Place>& places() const { return places_; }
    // Jumps taken and calls made, (source, destination) -> count. Of each, one end at least is in a
    // program.
    const std::map<std::pair<Place, Place>, Count>& branches() const { return branches_; }
    const std::vector<edgefile::ForeignFunction>& foreign_functions() const {
        return foreign_functions_;
    }

private:
    void find_programs(const Recording& recording);
    void number_foreign_functions(const Recording& recording);
    void add_object(const Object& object, std::uint32_t program);
    void add_jumps(const Object& object, std::uint32_t program);
    void add_calls(const Recording& recording);
    Place place_of(const Site& site, const std::string& name) const;

    const edgefile::Code& code_;
    std::vector<std::uint32_t> programs_;  // of each object of the recording
    std::vector<Fit> fits_;
    std::string problem_;
    bool has_jumps_ = false;
    Count all_instructions_ = 0;
    Count own_instructions_ = 0;
    std::unordered_map<Place, Count> executed_;
    std::vector<Place> places_;
    std::map<std::pair<Place, Place>, Count> branches_;
    std::vector<edgefile::ForeignFunction> foreign_functions_;
    std::map<std::pair<Address, std::string>, Place> foreign_places_;
};

}  // namespace callgrind
