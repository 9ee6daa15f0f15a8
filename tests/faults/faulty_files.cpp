// SQLite's files, failing by plan: a file layer in front of the system's own, which hands on each
// call that doesn't have to fail. A write that finds the disk full leaves half of its bytes behind,
// as a real one may.
#include <sqlite3.h>

#include <array>

#include "fault_plan.h"
#include "faulty_sqlite.h"

namespace faults {
namespace {

sqlite3_vfs* system_files = nullptr;

// One open file; the system's own stands directly behind it.
struct FaultyFile {
    sqlite3_file base;
};

sqlite3_file* system_file(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<FaultyFile*>(file) + 1);
}

bool has_to_fail(Source source, const char* call) {
    if (!fails(source)) return false;
    record("F\t%s\t%d", call, planned_code());
    return true;
}

// The first half of a page arrives where the disk becomes full.
int write_partly(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    if ((planned_code() & 0xff) == SQLITE_FULL)
        system_file(file)->pMethods->xWrite(system_file(file), bytes, size / 2, offset);
    return planned_code();
}

int close_file(sqlite3_file* file) {
    return system_file(file)->pMethods->xClose(system_file(file));
}

int read_file(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
    if (has_to_fail(Source::read, "read")) return planned_code();
    return system_file(file)->pMethods->xRead(system_file(file), bytes, size, offset);
}

int write_file(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    if (has_to_fail(Source::write, "write")) return write_partly(file, bytes, size, offset);
    return system_file(file)->pMethods->xWrite(system_file(file), bytes, size, offset);
}

int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
    if (has_to_fail(Source::truncate, "truncate")) return planned_code();
    return system_file(file)->pMethods->xTruncate(system_file(file), size);
}

int sync_file(sqlite3_file* file, int flags) {
    if (has_to_fail(Source::sync, "sync")) return planned_code();
    return system_file(file)->pMethods->xSync(system_file(file), flags);
}

int size_of_file(sqlite3_file* file, sqlite3_int64* size) {
    if (has_to_fail(Source::size, "size")) return planned_code();
    return system_file(file)->pMethods->xFileSize(system_file(file), size);
}

int lock_file(sqlite3_file* file, int level) {
    if (has_to_fail(Source::lock, "lock")) return planned_code();
    return system_file(file)->pMethods->xLock(system_file(file), level);
}

int unlock_file(sqlite3_file* file, int level) {
    return system_file(file)->pMethods->xUnlock(system_file(file), level);
}

int check_reserved_lock(sqlite3_file* file, int* result) {
    if (has_to_fail(Source::lock, "check of a lock")) return planned_code();
    return system_file(file)->pMethods->xCheckReservedLock(system_file(file), result);
}

int control_file(sqlite3_file* file, int operation, void* argument) {
    return system_file(file)->pMethods->xFileControl(system_file(file), operation, argument);
}

int sector_size(sqlite3_file* file) {
    return system_file(file)->pMethods->xSectorSize(system_file(file));
}

int characteristics(sqlite3_file* file) {
    return system_file(file)->pMethods->xDeviceCharacteristics(system_file(file));
}

const sqlite3_io_methods& file_methods() {
    static const sqlite3_io_methods methods = [] {
        sqlite3_io_methods m{};
        m.iVersion = 1;
        m.xClose = close_file;
        m.xRead = read_file;
        m.xWrite = write_file;
        m.xTruncate = truncate_file;
        m.xSync = sync_file;
        m.xFileSize = size_of_file;
        m.xLock = lock_file;
        m.xUnlock = unlock_file;
        m.xCheckReservedLock = check_reserved_lock;
        m.xFileControl = control_file;
        m.xSectorSize = sector_size;
        m.xDeviceCharacteristics = characteristics;
        return m;
    }();
    return methods;
}

int open_file(sqlite3_vfs* /*vfs*/, const char* name, sqlite3_file* file, int flags, int* got) {
    file->pMethods = nullptr;
    if (has_to_fail(Source::open, "open")) return planned_code();
    const int code = system_files->xOpen(system_files, name, system_file(file), flags, got);
    if (code == SQLITE_OK) file->pMethods = &file_methods();
    return code;
}

int remove_file(sqlite3_vfs* /*vfs*/, const char* name, int sync_directory) {
    if (has_to_fail(Source::remove, "remove")) return planned_code();
    return system_files->xDelete(system_files, name, sync_directory);
}

int access_file(sqlite3_vfs* /*vfs*/, const char* name, int flags, int* result) {
    if (has_to_fail(Source::access, "access")) return planned_code();
    return system_files->xAccess(system_files, name, flags, result);
}

}  // namespace

void install_sqlite_files() {
    system_files = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs vfs = *system_files;
    vfs.pNext = nullptr;
    vfs.zName = "faulty";
    vfs.szOsFile = static_cast<int>(sizeof(FaultyFile)) + system_files->szOsFile;
    vfs.xOpen = open_file;
    vfs.xDelete = remove_file;
    vfs.xAccess = access_file;
    sqlite3_vfs_register(&vfs, 1);
}

}  // namespace faults
