#include "foundation/FatalError.h"

#include <cstdio>
#include <cstdlib>

namespace korvane {

void fatalError(std::string_view message) {
    std::fprintf(stderr, "korvane: fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
    std::fflush(stderr);
    std::abort();
}

} // namespace korvane
