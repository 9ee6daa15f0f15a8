// Stands for the page where it was left out of the build.
#include "edgescope/message.h"
#include "edgescope/view.h"

namespace edgescope {

int run_view(const std::vector<std::string>& /*paths*/, const ReadSettings& /*settings*/,
             const ViewOptions& /*options*/, Output& /*output*/) {
    print_error("", "this build has no page: to build it takes node, npm and zlib");
    return exit_failure;
}

}  // namespace edgescope
