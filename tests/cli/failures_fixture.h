// What the tests of failing runs share.
#pragma once

#include <string>

#include "cli_support.h"

namespace cli {

class Failures : public CliTest {
protected:
    // What the run says while it merges `one_edge` into "x".
    Outcome append_one_edge(const std::string& trace) const {
        write("a.csv", one_edge);
        const Outcome outcome =
            run_plain({"-trace", trace, "-file", "a.csv", "-append", "x", "-dump"});
        return {outcome.status, outcome.out, without_pointers(outcome.err)};
    }

    static Outcome failed(const std::string& err) { return {1, "", err + internal_error}; }
};

}  // namespace cli
