// Paths in every place where one may stand.
#pragma once

#include <string>

#include "cli_support.h"

namespace cli {

class Paths : public CliTest {
protected:
    // Reads, creates, appends to and complains about files in this directory, which is made.
    void expect_use_of(const std::string& directory) const {
        const std::string edges = directory + "/a.csv";
        const std::string database = directory + "/x.db";
        const std::string missing = directory + "/gone";
        write(edges, one_edge);
        EXPECT_EQ(run_plain({"-file", edges + ";" + missing, "-out", database}),
                  (Outcome{0, "", cannot_open(missing) + merged(1)}));
        EXPECT_EQ(profile(database), one_edge_profile);
        EXPECT_EQ(run_plain({"-file", edges, "-append", database}), (Outcome{0, "", merged(1)}));
        EXPECT_EQ(runs(database), "num_runs|2\n");
        EXPECT_EQ(run_plain({"-file", database + ";" + edges, "-dump"}).err, "");
        EXPECT_EQ(run_plain({"-file", edges, "-out", database}),
                  (Outcome{1, "",
                           "error #30094: File, " + database +
                               ", already exists. Use -append option to update it.\n"}));
    }
};

}  // namespace cli
