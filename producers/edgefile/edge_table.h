#pragma once
// Writes counted transfers of control as an edge file.

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "edgefile/programs.h"
#include "edgefile/source_lines.h"

namespace edgefile {

// The words of the column TypeOfBranch, in the order of the alphabet, in which rows are sorted.
enum class Word : std::uint8_t { call, cond, fall_through, ind_call, ind_jump, jump, ret, uncond };

std::string_view text_of(Word word);
// The word for a transfer by the branch instruction at the source.
Word word_of(const Code& code, Place source, Place destination);

struct Transfer {
    Place source = foreign;  // the last instruction of its block, in a function of a given program
    Place destination = foreign;  // the first instruction reached
    Word word = Word::fall_through;
    std::uint64_t count = 0;
};

// A function of no given program. `address` tells apart those of one name.
struct ForeignFunction {
    std::string name;
    std::uint64_t address = 0;
};

struct TableOptions {
    std::string root;         // paths below it are written relative to it; empty: none are
    std::uint64_t scale = 1;  // counts are divided by it, rounded to nearest, but hits stay hits
};

// What was written.
struct Summary {
    std::uint64_t rows = 0;
    std::uint64_t hits = 0;
    std::uint64_t hits_without_line = 0;  // of rows inside a function, which the merge tool drops
    std::uint64_t large_edges = 0;        // edges whose count reaches 2^31
    std::uint64_t largest_count = 0;
};

class EdgeTable {
public:
    // `foreign_functions` are those of the destinations foreign + 0, foreign + 1, ... All have to
    // live as long as this.
    EdgeTable(const Code& code, std::span<const ForeignFunction> foreign_functions,
              TableOptions options);

    // Writes the header and the rows in order of source, destination and word. Transfers that have
    // no count or that don't begin in a function are left out; no two have the same source,
    // destination and word. A count is written as several rows where a 32-bit float doesn't hold
    // it. Whether the stream took it all is the caller's to ask.
    Summary write(std::span<const Transfer> transfers, std::FILE* output);

private:
    struct End {
        std::string fields;  // from the position to the function's name
        bool has_line = false;
    };

    const End& end_of(Place place);
    std::string end_fields(Place place, std::string_view name, bool& has_line);
    std::string namesake_fields(Place place);
    End destination_of(const Transfer& transfer);
    const ForeignFunction* foreign_function(Place place) const;
    bool is_entry(Place source) const;
    std::uint64_t scaled(std::uint64_t count) const;
    std::string below_root(std::string_view path) const;
    void write_row(const Transfer& transfer, std::FILE* output, Summary& summary);

    const Code& code_;
    std::span<const ForeignFunction> foreign_functions_;
    TableOptions options_;
    SourceLines lines_;
    std::unordered_map<Place, End> ends_;
};

// The text as a field: in brackets if it holds the separator. What no field can hold is replaced.
std::string field(std::string_view text);

// Another text that the merge tool takes for the same function's name; empty if there is none. In a
// row whose two names are the same text it sees an edge inside of one function, so a call of
// another function of the caller's name (two static ones) has to spell it otherwise.
std::string other_spelling(std::string_view name);

// The parts that a count is written in: each of them a 32-bit float holds exactly, their sum is the
// count.
std::vector<std::uint64_t> exact_parts(std::uint64_t count);

}  // namespace edgefile
