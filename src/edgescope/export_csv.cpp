// An edge file that the merge tool makes the same database of. Rows say more than a database keeps,
// so most of what stands here is about finding rows that lead back to it:
//
// - A function's entries come back by a return row with that count, since the tool takes the
//   largest of what was called, entered and returned.
// - Counts are 32-bit floats in an edge file: a count is spread over rows that floats hold exactly.
// - A name is normalised when it is read: it is written so that the normal form is the stored name.
// - An edge's entry mark comes back by a row of its own with a count of 0, which adds none to
//   the entries; its exit mark by a return row from the block that it reaches.
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <optional>
#include <unordered_set>

#include "edgescope/export.h"
#include "edgescope/message.h"
#include "edgescope/name_index.h"
#include "hotpath/facade/function_name.h"

namespace edgescope {
namespace {

// A 32-bit float holds whole numbers of this many bits.
constexpr int exact_bits = 24;

// The counts of the rows that a count is written in, at least one: each of them a float holds
// exactly, their sum is the count.
std::vector<std::uint64_t> counts_of_rows(std::uint64_t count) {
    std::vector<std::uint64_t> parts;
    do {
        const int shift = std::max(static_cast<int>(std::bit_width(count)) - exact_bits, 0);
        parts.push_back(count >> shift << shift);
        count -= parts.back();
    } while (count != 0);
    return parts;
}

// A field is as it stands: the format has no quotes but brackets, which belong to the field.
bool can_be_a_field(const std::string& text) {
    if (text.find('\n') != std::string::npos) return false;
    if (text.starts_with('[')) return text.find(']') == text.size() - 1;
    return text.find(',') == std::string::npos;
}

// A name whose normal form is `name`, and that is neither of the two others; nothing if none is
// found.
std::optional<std::string> raw_name(const std::string& name, const std::string& other = "NA") {
    const auto fits = [&](const std::string& raw) {
        return raw != other && raw != "NA" && hotpath::normalised_function_name(raw) == name;
    };
    if (fits(name)) return name;
    if (fits(name + ".1")) return name + ".1";
    for (std::size_t place = name.size(); place > 0; --place) {
        const std::string raw = name.substr(0, place) + "." + name.substr(place);
        if (fits(raw)) return raw;
    }
    return std::nullopt;
}

// What stands in a row for a function's name; nothing if no text can.
std::optional<std::string> field_of(const std::string& name) {
    std::optional<std::string> raw = raw_name(name);
    if (raw && !can_be_a_field(*raw)) raw.reset();
    return raw;
}

// What an edge file can't bring back.
struct Losses {
    std::uint64_t functions = 0;
    std::uint64_t calls = 0;
    std::uint64_t callees = 0;
    std::uint64_t entries = 0;
    std::uint64_t edges = 0;
    std::uint64_t marks = 0;
    std::uint64_t flags = 0;

    void warn() const {
        warn_of(functions,
                "functions that are left out, since an edge file can't hold their names");
        warn_of(calls,
                "calls that are left out, since an edge file can't hold their callee's name");
        warn_of(callees, "calls to functions that the database doesn't have, which are added");
        warn_of(entries, "calls that make their callee's entries more");
        warn_of(edges, "edges that are left out, since they have no line");
        warn_of(marks, "edges that get the exit mark of another edge to the same address");
        warn_of(flags, "functions that get marks for the columns or discriminators they have");
    }

private:
    static void warn_of(std::uint64_t number, const char* what) {
        if (number != 0) print_warning("", std::string(what) + ": " + std::to_string(number));
    }
};

// One row but for its count.
struct Row {
    std::uint64_t from_address;
    const char* branch;
    const char* entry_block = "no";
    const std::string& from_file;
    Position from;
    const std::string& from_name;
    std::uint64_t to_address;
    const std::string& to_file;
    Position to;
    const std::string& to_name;
};

class EdgeFile {
public:
    EdgeFile(const Profile& profile, Output& output)
        : profile_(profile), output_(output), names_(profile), next_callees_(names_.size()) {
        for (const Function& function : profile.functions) entries_left_.push_back(function.count);
        for (std::uint32_t name = 0; name < names_.size(); ++name)
            fields_.push_back(field_of(names_.text(name)));
        note_exits();
        find_free_address();
    }

    void write();

private:
    void note_exits();
    void find_free_address();
    void write_function(std::size_t number);
    void write_edge(const Function& function, const std::string& name, const Edge& edge);
    void write_call(const Function& function, const std::string& name, const Call& call,
                    std::uint32_t callee_number);
    void write_returns(const Function& function, const std::string& name);
    void write_row(const Row& row, std::uint64_t count);
    void write_position(const Position& position);

    // Add one field to the line and the separator behind it. There are millions of rows, so numbers
    // go straight to their digits.
    void write_text(std::string_view text) { line_.append(text).push_back(','); }
    template <typename Number>
    void write_number(Number number, int base = 10) {
        std::array<char, 24> digits;
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, base);
        write_text({digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
    }
    void write_address(std::uint64_t address) {
        line_.append("0x");
        write_number(address, 16);
    }

    std::uint32_t callee_with_entries_left(std::uint32_t name);
    std::uint32_t take_entries(std::uint32_t name, std::uint64_t& count);

    const Profile& profile_;
    Output& output_;
    Losses losses_;
    std::string line_;  // the row that is written
    NameIndex names_;
    std::vector<std::optional<std::string>> fields_;  // of names
    std::vector<std::uint64_t> entries_left_;         // of functions: not called yet
    std::vector<std::size_t> next_callees_;           // of names: those before have none left
    std::unordered_set<std::uint64_t> exits_;         // addresses with exit marks
    std::uint64_t free_address_ = 0;                  // of no edge
};

void EdgeFile::note_exits() {
    for (const Function& function : profile_.functions)
        for (const Edge& edge : function.edges)
            if (edge.is_exit) exits_.insert(edge.to_address);
}

// The first address that no edge has: there are fewer addresses than ends of edges.
void EdgeFile::find_free_address() {
    std::size_t edges = 0;
    for (const Function& function : profile_.functions) edges += function.edges.size();
    std::vector<bool> is_used(2 * edges + 1);
    for (const Function& function : profile_.functions)
        for (const Edge& edge : function.edges)
            for (const std::uint64_t address : {edge.from_address, edge.to_address})
                if (address < is_used.size()) is_used[address] = true;
    free_address_ = static_cast<std::uint64_t>(std::find(is_used.begin(), is_used.end(), false) -
                                               is_used.begin());
}

void EdgeFile::write() {
    output_.append(
        "FromAddress,TypeOfBranch,EntryBlock,FromSourceFile,FromSourceLine,FromSourceOffsetLine,"
        "FromSourceColumn,FromSourceDiscriminator,FromFunctionMangled,DestinationAddress,"
        "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
        "DestinationSourceOffsetLine,DestinationSourceColumn,DestinationSourceDiscriminator,"
        "DestinationFunctionMangled,HitCount\n");
    for (std::size_t i = 0; i < profile_.functions.size(); ++i) write_function(i);
    losses_.warn();
}

void EdgeFile::write_position(const Position& position) {
    // An unknown line is written as it is read.
    write_number(static_cast<std::int32_t>(position.line));
    write_number(static_cast<std::int32_t>(position.relative_line));
    write_number(position.column);
    write_number(position.discriminator);
}

void EdgeFile::write_row(const Row& row, std::uint64_t count) {
    line_.clear();
    write_address(row.from_address);
    write_text(row.branch);
    write_text(row.entry_block);
    write_text(row.from_file);
    write_position(row.from);
    write_text(row.from_name);
    write_address(row.to_address);
    write_address(row.to_address);
    write_text(row.to_file);
    write_position(row.to);
    write_text(row.to_name);
    write_number(count);
    line_.back() = '\n';
    output_.append(line_);
}

void EdgeFile::write_function(std::size_t number) {
    const Function& function = profile_.functions[number];
    const std::optional<std::string>& name = fields_[names_.of_function(number)];
    if (!name || !can_be_a_field(function.file)) {
        ++losses_.functions;
        return;
    }
    bool has_columns = false, has_discriminators = false;
    for (const Edge& edge : function.edges) {
        write_edge(function, *name, edge);
        has_columns |= edge.from.column != 0 || edge.to.column != 0;
        has_discriminators |= edge.from.discriminator != 0 || edge.to.discriminator != 0;
    }
    if ((has_columns && !function.uses_columns) ||
        (has_discriminators && !function.uses_discriminators))
        ++losses_.flags;
    const auto callees = names_.of_calls(number);
    for (std::size_t i = 0; i < callees.size(); ++i)
        write_call(function, *name, function.calls[i], callees[i]);
    write_returns(function, *name);
}

void EdgeFile::write_edge(const Function& function, const std::string& name, const Edge& edge) {
    if (edge.from.line == unknown_line || edge.to.line == unknown_line) {
        ++losses_.edges;
        return;
    }
    if (!edge.is_exit && exits_.contains(edge.to_address)) ++losses_.marks;
    Row row{.from_address = edge.from_address,
            .branch = "Cond",
            .from_file = function.file,
            .from = edge.from,
            .from_name = name,
            .to_address = edge.to_address,
            .to_file = function.file,
            .to = edge.to,
            .to_name = name};
    if (edge.is_entry) {
        row.entry_block = "yes";
        write_row(row, 0);
        row.entry_block = "no";
        if (edge.count == 0) return;
    }
    for (const std::uint64_t part : counts_of_rows(edge.count)) write_row(row, part);
}

std::uint32_t EdgeFile::callee_with_entries_left(std::uint32_t name) {
    const auto callees = names_.functions(name);
    for (std::size_t& next = next_callees_[name]; next < callees.size(); ++next) {
        const std::uint32_t callee = callees[next];
        if (entries_left_[callee] != 0 && can_be_a_field(profile_.functions[callee].file))
            return callee;
    }
    return NameIndex::nobody;
}

// The function of that name that the next calls are of. `count` is left at the entries that it has
// left; where none has any, the first function gets all.
std::uint32_t EdgeFile::take_entries(std::uint32_t name, std::uint64_t& count) {
    const std::uint32_t callee = callee_with_entries_left(name);
    if (callee != NameIndex::nobody) {
        count = std::min(count, entries_left_[callee]);
        entries_left_[callee] -= count;
        return callee;
    }
    const auto callees = names_.functions(name);
    if (callees.empty()) return NameIndex::nobody;
    if (count != 0) ++losses_.entries;
    return callees.front();
}

// A call is kept by its callee's name alone, but a row names its file too. Functions of that name
// are called in turn, each as often as it was entered.
void EdgeFile::write_call(const Function& function, const std::string& name, const Call& call,
                          std::uint32_t callee_number) {
    static const std::string no_file;
    std::optional<std::string> callee_name = fields_[callee_number];
    // A row whose names are the same is one inside of a function.
    if (callee_name == name) callee_name = raw_name(call.callee, name);
    if (!callee_name) {
        ++losses_.calls;
        return;
    }
    if (names_.functions(callee_number).empty()) ++losses_.callees;
    std::uint64_t count = call.count;
    do {
        std::uint64_t part = count;
        const std::uint32_t callee = take_entries(callee_number, part);
        const std::string& file =
            callee == NameIndex::nobody ? no_file : profile_.functions[callee].file;
        const Row row{.from_address = free_address_,
                      .branch = "Call",
                      .from_file = function.file,
                      .from = {call.line, call.relative_line, 0, 0},
                      .from_name = name,
                      .to_address = free_address_,
                      .to_file = file,
                      .to = {},
                      .to_name = *callee_name};
        for (const std::uint64_t exact : counts_of_rows(part)) write_row(row, exact);
        count -= part;
    } while (count != 0);
}

void EdgeFile::write_returns(const Function& function, const std::string& name) {
    static const std::string nowhere = "NA";
    static const std::string unnamed = "-";
    std::vector<std::uint64_t> addresses;
    for (const Edge& edge : function.edges)
        if (edge.is_exit) addresses.push_back(edge.to_address);
    std::sort(addresses.begin(), addresses.end());
    addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
    if (addresses.empty()) addresses.push_back(free_address_);
    std::uint64_t count = function.count;
    for (const std::uint64_t address : addresses) {
        const Row row{.from_address = address,
                      .branch = "Ret",
                      .from_file = function.file,
                      .from = {0, 0, static_cast<std::uint16_t>(function.uses_columns),
                               static_cast<std::uint16_t>(function.uses_discriminators)},
                      .from_name = name,
                      .to_address = free_address_,
                      .to_file = nowhere,
                      .to = {},
                      .to_name = name == nowhere ? unnamed : nowhere};
        for (const std::uint64_t part : counts_of_rows(count)) write_row(row, part);
        count = 0;
    }
}

}  // namespace

bool export_csv(const Profile& profile, const ExportOptions&, Output& output) {
    EdgeFile(profile, output).write();
    if (profile.runs > 1)
        print_warning("", "an edge file is one run: " + std::to_string(profile.runs) +
                              " runs come back as 1");
    return true;
}

}  // namespace edgescope
