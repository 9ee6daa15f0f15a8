// The chain of name stages that the readers use: which stages there are, and their order. What a
// stage does stands with the stage.
#pragma once

#include "hotpath/names/name_undecorator.h"

namespace hotpath {

// Rewrites the raw names of one input. Owned by the reader of that input.
class NameNormaliser {
public:
    // The name under which a record is kept: `raw` itself if there is nothing to rewrite, otherwise
    // a text that lives until the next call and must not be handed back to it.
    const char* normalise(const char* raw) { return omp_.undecorate(raw); }

private:
    // A name passes them from the last to the first.
    NameUndecoratorCppFilePath file_path_;
    NameUndecoratorSuffixRemover suffix_{&file_path_};
    NameUndecoratorOMPMangling omp_{&suffix_};
};

}  // namespace hotpath
