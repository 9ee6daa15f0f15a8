// Databases that SQLite finds in order, but with any values and objects: cells of wrong types, ids
// that lead nowhere, views and triggers where the tool makes tables. Loading one is compared with a
// second, plain reading; what was loaded must survive a merge into a new database.
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

#include "database_files.h"
#include "ended_program.h"
#include "fuzz_input.h"
#include "hotpath/database/sample_db.h"
#include "naive_profile.h"
#include "raw_database.h"

namespace {

using fuzz::FuzzInput;
using fuzz::NaiveProfile;
using fuzz::RawConnection;
using fuzz::RawStatement;

struct Table {
    const char* name;
    const char* columns;
    const char* fewer_columns;
};

constexpr Table tables[] = {
    {"sf_run_info", "sf_key TEXT, sf_value TEXT", "sf_key TEXT"},
    {"sf_filenames", "sf_id INTEGER PRIMARY KEY, sf_filename TEXT", "sf_filename TEXT"},
    {"sf_functions",
     "sf_id INTEGER PRIMARY KEY, sf_func_name TEXT, sf_file_id INTEGER, sf_exec_count INTEGER,"
     " sf_flags INTEGER",
     "sf_id INTEGER, sf_func_name TEXT, sf_file_id INTEGER"},
    {"sf_edges",
     "sf_from_func_id INTEGER, sf_from_address INTEGER, sf_from_abs_line INTEGER,"
     " sf_from_rel_line INTEGER, sf_from_column INTEGER, sf_from_discr INTEGER,"
     " sf_to_func_id INTEGER, sf_to_bb_end_address INTEGER, sf_to_abs_line INTEGER,"
     " sf_to_rel_line INTEGER, sf_to_column INTEGER, sf_to_discr INTEGER, sf_exec_count INTEGER,"
     " sf_flags INTEGER",
     "sf_from_func_id INTEGER, sf_from_address INTEGER"},
    {"sf_calls",
     "sf_from_func_id INTEGER, sf_from_abs_line INTEGER, sf_from_rel_line INTEGER,"
     " sf_to_func_name TEXT, sf_exec_count INTEGER",
     "sf_from_func_id INTEGER, sf_to_func_name TEXT, sf_exec_count INTEGER"},
};

constexpr const char* usual_texts[] = {"num_runs", "1", "-1", "a.c", "A.C", "f", "g", ""};
constexpr std::int64_t usual_numbers[] = {0,
                                          1,
                                          2,
                                          3,
                                          -1,
                                          0x7FFFFFFF,
                                          -0x80000000LL,
                                          0x80000000LL,
                                          0x100000000LL,
                                          0x100000001LL,
                                          INT64_MAX,
                                          INT64_MIN};

std::string sql_text(std::string_view text) {
    std::string result = "'";
    for (const char c : text) result += c == '\'' ? std::string("''") : std::string(1, c);
    return result + "'";
}

std::string hexadecimal(std::string_view bytes) {
    std::string result;
    for (const char c : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(c)));
        result += digits;
    }
    return result;
}

// One cell as SQL has it. Half of them are small numbers, by which rows find each other.
std::string value(FuzzInput& input) {
    const unsigned choice = input.byte();
    if (choice >= 128) return std::to_string(choice % 4);
    switch (choice % 8) {
        case 0: return "NULL";
        case 1: return sql_text(usual_texts[input.below(std::size(usual_texts))]);
        case 2: return sql_text(std::to_string(static_cast<std::int64_t>(input.bytes(8))));
        case 3: return std::to_string(static_cast<std::int64_t>(input.bytes(8)));
        case 4: return "CAST(x'" + hexadecimal(input.text(input.below(9))) + "' AS TEXT)";
        case 5: return "x'" + hexadecimal(input.text(input.below(9))) + "'";
        case 6: return std::to_string(input.byte()) + ".5e" + std::to_string(input.below(30));
        default: return std::to_string(usual_numbers[input.below(std::size(usual_numbers))]);
    }
}

std::string row(FuzzInput& input, const std::string& columns) {
    std::string values = value(input);
    for (const char c : columns)
        if (c == ',') values += ", " + value(input);
    return values;
}

std::string some_row(FuzzInput& input, const Table& table) {
    return std::string("INSERT INTO ") + table.name + " VALUES (" + row(input, table.columns) + ")";
}

std::string create(const Table& table, const std::string& columns) {
    return std::string("CREATE TABLE ") + table.name + " (" + columns + ")";
}

// Makes the object of this name: most often the table, at times something else.
void make_object(FuzzInput& input, const RawConnection& database, const Table& table) {
    const std::string name = table.name;
    const std::string columns = table.columns;
    switch (input.below(16)) {
        case 0: return;
        case 1: database.run(create(table, table.fewer_columns)); return;
        case 2: database.run(create(table, columns + ", extra")); return;
        case 3: database.run(create(table, "extra, " + columns)); return;
        case 4: database.run("CREATE VIEW " + name + " AS SELECT " + row(input, columns)); return;
        case 5:
            database.run("CREATE TABLE hidden_" + name + " (" + columns + ")");
            database.run("CREATE VIEW " + name + " AS SELECT * FROM hidden_" + name);
            return;
        case 6:
            database.run(create(table, columns));
            database.run("CREATE TRIGGER t_" + name + " AFTER INSERT ON " + name + " BEGIN " +
                         some_row(input, tables[input.below(std::size(tables))]) + "; END");
            return;
        case 7:
            database.run(create(table, columns));
            database.run("CREATE TRIGGER t_" + name + " BEFORE INSERT ON " + name +
                         " BEGIN SELECT RAISE(IGNORE); END");
            return;
        case 8:
            database.run(create(table, columns));
            database.run("CREATE UNIQUE INDEX u_" + name + " ON " + name + " (" +
                         columns.substr(0, columns.find(' ')) + ")");
            return;
        default: database.run(create(table, columns)); return;
    }
}

void make_database(FuzzInput& input, const std::string& path) {
    const RawConnection database(path);
    constexpr const char* encodings[] = {"UTF-8", "UTF-8", "UTF-16le", "UTF-16be"};
    database.run(
        "PRAGMA page_size = 512; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
        "PRAGMA encoding = '" +
        std::string(encodings[input.below(std::size(encodings))]) + "'; BEGIN;" +
        "CREATE TABLE sf_version (sf_key TEXT, sf_value TEXT);"
        "INSERT INTO sf_version VALUES ('schema_version', '1'), ('filename_columns', '2'),"
        " ('functions_columns', '5'), ('edges_columns', '14'), ('calls_columns', '5')");
    for (const Table& table : tables) make_object(input, database, table);
    while (!input.is_empty()) database.run(some_row(input, tables[input.below(std::size(tables))]));
    database.run("COMMIT");
}

// The second reading.

std::int32_t int_of(const std::string& text) {
    return static_cast<std::int32_t>(std::strtoll(text.c_str(), nullptr, 10));
}

// Ids are the low 32 bits, without a sign.
std::uint32_t id_of(const std::string& text) { return static_cast<std::uint32_t>(int_of(text)); }

void read_runs(const RawConnection& database, NaiveProfile& profile) {
    const RawStatement row(database, "SELECT * FROM sf_run_info WHERE sf_key = 'num_runs'");
    if (!row.is_prepared() || !row.next_row()) return;
    const std::string value = row.text(1);
    if (value.empty() || int_of(value) == -1) return;
    profile.runs += static_cast<std::uint32_t>(int_of(value));
}

void read_edges(const RawConnection& database, std::uint32_t id, fuzz::NaiveFunction& function) {
    const RawStatement row(database, "SELECT * FROM sf_edges WHERE sf_from_func_id = ?1");
    row.bind(1, static_cast<int>(id));
    while (row.next_row()) {
        fuzz::NaiveEdge& edge =
            function.add_edge({row.uint64(1), row.uint64(7)},
                              {row.uint32(2), row.uint32(3), row.uint32(4), row.uint32(5)},
                              {row.uint32(8), row.uint32(9), row.uint32(10), row.uint32(11)},
                              static_cast<std::uint64_t>(std::int64_t{row.int32(12)}));
        edge.entry = (row.uint32(13) & 1) != 0;
        edge.exit = (row.uint32(13) & 2) != 0;
    }
}

void read_calls(const RawConnection& database, std::uint32_t id, fuzz::NaiveFunction& function) {
    const RawStatement row(database, "SELECT * FROM sf_calls WHERE sf_from_func_id = ?1");
    row.bind(1, static_cast<int>(id));
    while (row.next_row())
        if (!row.is_null(3))
            function.add_call(row.text(3), row.uint32(1), row.uint32(2), row.uint64(4));
}

// False where a function names a file that can't be.
bool read_functions(const RawConnection& database, NaiveProfile& profile) {
    const RawStatement largest(database, "SELECT max(sf_id) FROM sf_filenames");
    if (!largest.is_prepared() || !largest.next_row()) return false;
    const std::uint64_t size = std::uint64_t{largest.uint32(0)} + 1;
    std::map<std::uint32_t, std::string> files;
    const RawStatement file(database, "SELECT * FROM sf_filenames");
    while (file.next_row()) files[id_of(file.text(0))] = file.text(1);
    const RawStatement row(database, "SELECT * FROM sf_functions");
    if (!row.is_prepared()) return false;
    while (row.next_row()) {
        const std::uint32_t file_id = id_of(row.text(2));
        if (file_id >= size) return false;
        fuzz::NaiveFunction& function = profile.function(files[file_id], row.text(1));
        function.count +=
            static_cast<std::uint64_t>(std::strtoll(row.text(3).c_str(), nullptr, 10));
        function.flags |=
            static_cast<std::uint64_t>(std::strtoll(row.text(4).c_str(), nullptr, 10)) & 3;
        const std::uint32_t id = id_of(row.text(0));
        read_edges(database, id, function);
        read_calls(database, id, function);
    }
    return true;
}

void keep_low_half(NaiveProfile& profile) {
    for (auto& [key, function] : profile.functions)
        for (auto& [addresses, edge] : function.edges)
            edge.count = static_cast<std::uint64_t>(
                std::int64_t{static_cast<std::int32_t>(static_cast<std::uint32_t>(edge.count))});
}

// The tool's work.

void check_load(const std::string& path, const std::optional<NaiveProfile>& expected) {
    fuzz::Factory factory;
    hotpath::FunctionRecordSet set(factory);
    hotpath::SampleDB database;
    if (database.open_readonly(path.c_str()) != hotpath::DbOpenOk) return;
    const bool loaded = database.read_function_records(set, factory, false);
    fuzz::require(loaded == expected.has_value(), "the result of a load");
    if (loaded)
        fuzz::require_equal(profile_text(*expected), fuzz::profile_text(set), "a loaded profile");
}

bool merge(const std::string& input_path, const std::string& target_path) {
    fuzz::Factory factory;
    hotpath::FunctionRecordSet inputs(factory);
    hotpath::SampleDB input;
    if (input.open_readonly(input_path.c_str()) != hotpath::DbOpenOk) return false;
    if (!input.read_function_records(inputs, factory, false)) return false;
    hotpath::SampleDB target;
    hotpath::FunctionRecordSet target_records(factory);
    if (target.open_writable(&target_records, target_path.c_str()) != hotpath::DbOpenOk)
        return false;
    return target.merge_records(inputs, factory);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::string path = fuzz::fresh_database("values.db");
    make_database(input, path);
    std::optional<NaiveProfile> expected(std::in_place);
    {
        const RawConnection database(path);
        read_runs(database, *expected);
        if (!read_functions(database, *expected)) expected.reset();
    }
    check_load(path, expected);
    try {
        const std::string copy = fuzz::empty_sample_database("copy.db");
        if (merge(path, copy)) {
            fuzz::require(expected.has_value(), "a merge of what couldn't be loaded");
            keep_low_half(*expected);
            check_load(copy, expected);
            merge(copy, path);
        }
    } catch (const fuzz::ProgramEnded& end) {
        fuzz::require(end.status == 1, "the status of a failed merge");
    }
    return 0;
}
