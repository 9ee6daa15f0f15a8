// The source files of functions that are being loaded, as a record set names them. A name is folded
// and looked up once, however many functions the file has.
#pragma once

#include <cstdint>
#include <vector>

#include "hotpath/database/file_table.h"
#include "hotpath/model/function_record_set.h"
#include "hotpath/model/hashing.h"
#include "hotpath/model/index_table.h"

namespace hotpath {

// The files of one load into one set, by file id. Set and table must outlive it.
class LoadedFiles {
public:
    LoadedFiles(FunctionRecordSet& set, const FileTable& table) : m_set(set), m_table(table) {}

    // The name of the file with this id in the table.
    const FileName& name(std::uint32_t id) {
        const std::uint64_t hash = hash_number(id);
        const std::uint32_t known =
            m_by_id.find(hash, [&](std::uint32_t place) { return m_files[place].id == id; });
        if (known != IndexTable::none) return *m_files[known].name;
        m_by_id.insert(hash, static_cast<std::uint32_t>(m_files.size()));
        m_files.push_back({id, &m_set.file_name(m_table[id])});
        return *m_files.back().name;
    }

private:
    struct File {
        std::uint32_t id;
        const FileName* name;
    };

    FunctionRecordSet& m_set;
    const FileTable& m_table;
    std::vector<File> m_files;
    IndexTable m_by_id;  // over `m_files`
};

}  // namespace hotpath
