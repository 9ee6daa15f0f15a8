#include "support/program_fixture.h"

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/file_path.h"

namespace test_support {
namespace {

// A connection of the test's own.
class Connection {
public:
    Connection(const std::string& path, int flags) {
        if (sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr) != SQLITE_OK)
            ADD_FAILURE() << path << ": " << error();
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { sqlite3_close(handle_); }

    sqlite3* handle() const { return handle_; }
    std::string error() const { return sqlite3_errmsg(handle_); }

private:
    sqlite3* handle_ = nullptr;
};

std::string cell_text(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL) return "NULL";
    const void* const bytes = sqlite3_column_blob(statement, column);
    const int count = sqlite3_column_bytes(statement, column);
    if (bytes == nullptr) return {};
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(count)};
}

std::vector<std::string> row_texts(sqlite3_stmt* statement) {
    std::vector<std::string> cells;
    for (int column = 0; column < sqlite3_column_count(statement); ++column)
        cells.push_back(cell_text(statement, column));
    return cells;
}

}  // namespace

ProgramRun ProgramTest::run(const std::vector<std::string>& arguments,
                            const RunSettings& settings) const {
    ProgramRun run = run_program({.program = program_path(),
                                  .arguments = arguments,
                                  .directory = path(),
                                  .environment = settings.environment,
                                  .standard_input = settings.standard_input,
                                  .one_stream = settings.one_stream});
    EXPECT_FALSE(run.timed_out) << run;
    run.standard_output = written_text(run.standard_output);
    run.standard_error = written_text(run.standard_error);
    return run;
}

void ProgramTest::write(const std::string& name, std::string_view bytes) const {
    const std::filesystem::path file = file_path(path(name));
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    EXPECT_TRUE(stream) << "can't write " << name;
}

std::string ProgramTest::read(const std::string& name) const {
    std::ifstream stream(file_path(path(name)), std::ios::binary);
    EXPECT_TRUE(stream) << "can't read " << name;
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool ProgramTest::exists(const std::string& name) const {
    return std::filesystem::exists(file_path(path(name)));
}

std::string ProgramTest::path(const std::string& name) const {
    return name.empty() ? directory_.path() : directory_.path(name.c_str());
}

Rows ProgramTest::query(const std::string& database, const std::string& sql) const {
    const Connection connection(path(database), SQLITE_OPEN_READONLY);
    sqlite3_stmt* statement = nullptr;
    Rows rows;
    if (sqlite3_prepare_v2(connection.handle(), sql.c_str(), -1, &statement, nullptr) !=
        SQLITE_OK) {
        ADD_FAILURE() << sql << ": " << connection.error();
        return rows;
    }
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) rows.push_back(row_texts(statement));
    EXPECT_EQ(result, SQLITE_DONE) << sql << ": " << connection.error();
    sqlite3_finalize(statement);
    return rows;
}

void ProgramTest::execute(const std::string& database, const std::string& sql) const {
    const Connection connection(path(database), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    // What a test makes needn't outlive a power cut.
    const std::string whole = "PRAGMA synchronous = OFF;" + sql;
    EXPECT_EQ(sqlite3_exec(connection.handle(), whole.c_str(), nullptr, nullptr, nullptr),
              SQLITE_OK)
        << sql << ": " << connection.error();
}

std::string program_path() { return EDGEFOLD_PROGRAM; }

std::string example_path(const std::string& name) {
    return std::string(EDGEFOLD_EXAMPLES_DIR) + "/" + name;
}

}  // namespace test_support
