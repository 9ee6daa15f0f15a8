#pragma once
// A program as built: its functions, instructions and source positions. A "program" is an ELF file
// for x86: an executable (at a fixed place or not), or a shared library. Who ran it, and where in
// memory it lay, is the business of others: all addresses here are those of the file.
//
// Everything is read when the program is opened, and only looked up later. Texts that are given
// (names, paths) live as long as the Program. Damaged files give less, never a crash: what can't be
// read isn't there.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "program/elf_file.h"
#include "program/functions.h"
#include "program/instructions.h"
#include "program/line_table.h"
#include "program/scopes.h"
#include "program/text_ids.h"

namespace program {

// A place in the source. Paths are as the compiler had them, absolute where its directory is known.
struct Position {
    std::string_view file;   // empty: unknown
    std::uint32_t line = 0;  // 0: unknown, code that no line of the source has made
    std::uint32_t column = 0;
    std::uint32_t discriminator = 0;
};

// Where a function of the source begins.
struct Declaration {
    std::string_view file;   // empty: unknown
    std::uint32_t line = 0;  // 0: unknown
};

// One function of the source in which an address lies.
struct Frame {
    // Linkage name; where the debug information has none, the name. In the last frame, that of the
    // Function.
    std::string_view name;
    Declaration declaration;
    // Where it was called, in the function of the next frame, which it was inlined into. Unknown in
    // the last frame. The discriminator is there only in programs built for sample profiles
    // (-fdebug-info-for-profiling).
    Position call;
};

struct OpenOptions {
    std::string debug_file;  // empty: looked for
    std::string debug_directory = "/usr/lib/debug";
};

class Program {
public:
    // Null where the file can't be used; `problem` then is a sentence's end that fits behind the
    // file's name and a colon ("is no ELF file"). A program without debug information is fine.
    static std::unique_ptr<Program> open(const std::string& path, const OpenOptions& options,
                                         std::string& problem);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    const std::string& path() const { return file_->path(); }
    // Lower-case hexadecimal digits; empty where the file has none.
    const std::string& build_id() const { return file_->build_id(); }
    bool is_64_bit() const { return file_->is_64_bit(); }
    bool has_debug_information() const { return dwarf_ != nullptr; }
    // A file with a part of the debug information (-gsplit-dwarf) that can't be read; empty if
    // there is none. Positions in that part's code may be those of functions inlined there.
    const std::string& missing_debug_part() const { return scopes_.missing_file(); }

    // What is loaded, in the order of the file.
    const std::vector<Segment>& segments() const { return file_->segments(); }
    // From an offset in the file to an address, by segments.
    std::optional<Address> address_of_offset(std::uint64_t offset) const;
    // Machine code, in order of address.
    const std::vector<Code>& code() const { return file_->code(); }

    // In order of address. They don't overlap; a function that a compiler cut in parts has one
    // entry for each of them.
    const std::vector<Function>& functions() const { return functions_->all(); }
    // The function (or part of one) that the address lies in; null for other code, such as linkage
    // stubs.
    const Function* function_at(Address address) const;
    // The function itself, of a part of one.
    const Function& owner_of(const Function& function) const {
        return functions_->all()[function.owner];
    }
    // File and first line of the function itself, the same for all of its parts; never those of
    // code inlined into it. Without a declaration in the debug information (assembler, generated
    // code): where its first instruction stands that has a line.
    Declaration declaration_of(const Function& function) const;

    // What the line table says: the position in the innermost inlined function. Where the line is
    // 0, the file may be known still.
    Position position_at(Address address) const;
    // The position in the function itself: of inlined code, that of the outermost call.
    Position outer_position_at(Address address) const;
    // The functions of the source at the address, innermost first; empty where the debug
    // information knows none. The place within the innermost one is position_at(address).
    void frames_at(Address address, std::vector<Frame>& frames) const;

    // Calls `use(const Instruction&)` for each instruction from `first` on, one after the other,
    // until `end`. Skips code that isn't there. Starts anew at each function, so that data
    // in between does no harm.
    template <typename Use>
    void for_each_instruction(Address first, Address end, Use use) const;

private:
    Program() = default;
    bool open_debug_file(const OpenOptions& options, std::string& problem);
    void read_debug_information();
    // The next address behind this one at which decoding starts anew.
    Address next_start(Address address) const;
    std::vector<AddressRange> code_ranges() const;
    Position position_of(const LineRow& row) const;
    Position call_of(const Scope& scope) const;
    std::string_view text(std::uint32_t id) const { return files_.text(id); }

    std::unique_ptr<ElfFile> file_;
    std::unique_ptr<ElfFile>
        debug_file_;  // null where the program itself has the debug information
    Dwarf* dwarf_ = nullptr;
    TextIds files_;
    std::unique_ptr<LineTable> lines_;
    Scopes scopes_;
    std::unique_ptr<Functions> functions_;
};

template <typename Use>
void Program::for_each_instruction(Address first, Address end, Use use) const {
    InstructionDecoder decoder(is_64_bit());
    for (const Code& part : code()) {
        Address at = std::max(first, part.start);
        const Address part_end = std::min(end, part.range().end);
        while (at < part_end) {
            const Address stop = std::min(part_end, next_start(at));
            while (at < stop) {
                const Instruction instruction =
                    decoder.decode(part.bytes.substr(at - part.start), at);
                use(instruction);
                at = instruction.following();
            }
            at = stop;
        }
    }
}

}  // namespace program
