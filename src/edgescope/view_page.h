// The page without its data, and how data get into it: as elements whose text is compressed JSON in
// base64, which no name or source of a profile can get out of.
#pragma once

#include <string>
#include <string_view>

#include "edgescope/output.h"
#include "edgescope/view_json.h"

namespace edgescope {

// The page that was built into the program. One place in it is for the data.
std::string_view page_without_data();

// Writes a page with its data, one part after the other.
class PageWriter {
public:
    // Writes what stands in front of the data.
    PageWriter(std::string_view page, Output& output);

    // Adds a part under an id, of letters, digits and `-`. `write` is called with a `JsonWriter`.
    template <typename Write>
    void add(std::string_view id, Write write) {
        {
            JsonWriter json(gzip_);
            write(json);
        }
        add_element(id, gzip_.finish());
    }

    // Writes what stands behind the data.
    void finish();

private:
    void add_element(std::string_view id, std::string_view compressed);

    std::string_view rest_;  // of the page
    Output& output_;
    Gzip gzip_;
};

}  // namespace edgescope
