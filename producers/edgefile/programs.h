#pragma once
// The programs of one conversion: the program that ran and the libraries that were named with it,
// and their machine code by place. What counts the transfers between them is the business of the
// converters.

#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "edgefile/place.h"
#include "program/code_map.h"
#include "program/program.h"

namespace edgefile {

class Programs {
public:
    // Opens the program, which is number 0, and the libraries. A debug file goes to the one whose
    // build-id it has, else to the program. False where one can't be used; `problem` then is a
    // whole message.
    bool open(const std::string& program, std::span<const std::string> libraries,
              std::span<const std::string> debug_files, std::string& problem);

    std::uint32_t size() const { return static_cast<std::uint32_t>(programs_.size()); }
    const program::Program& operator[](std::uint32_t index) const { return *programs_[index]; }
    // Null for foreign places, and for code outside of functions.
    const program::Function* function_at(Place place) const;

    // The address that an edge file has for the place. That of the program itself is its own; a
    // library's has a number in front that is made of the library's name, so that it doesn't depend
    // on what else is converted.
    std::uint64_t written_address(Place place) const;

private:
    bool open_one(const std::string& path, const std::string& debug_file, std::string& problem);
    std::uint64_t base_of(const std::string& path) const;

    std::vector<std::unique_ptr<program::Program>> programs_;
    std::vector<std::uint64_t> bases_;
};

// The instructions of all programs by place, cut into blocks.
class Code {
public:
    // The programs have to live as long as this.
    explicit Code(const Programs& programs);

    const Programs& programs() const { return programs_; }
    // Nothing for foreign places, and where no instruction begins.
    std::optional<program::Kind> kind(Place place) const;
    bool is_instruction(Place place) const { return kind(place).has_value(); }
    bool is_in_one_function(Place one, Place other) const;
    // The first place of the function, of a part that was moved away that of the function it
    // belongs to; nothing for code outside of functions.
    std::optional<Place> function_start(Place place) const;

    // Blocks begin at these places too.
    void cut(std::span<const Place> places);
    // For places of instructions: the ends of the block, and the neighbours in the code.
    Place block_start(Place place) const;
    Place block_end(Place place) const;
    std::optional<Place> following(Place place) const;  // in the function or part of one
    std::optional<Place> next_instruction(Place place) const;
    std::optional<Place> preceding(Place place) const;

private:
    const program::CodeMap& map_of(Place place) const { return maps_[program_of(place)]; }

    const Programs& programs_;
    std::deque<program::CodeMap> maps_;
};

}  // namespace edgefile
