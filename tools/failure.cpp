#include "failure.h"

#include <system_error>

namespace zelk::tool {

void failSystem(const std::string &subject, int error) {
    throw Failure(ExitInputOutput, fmt::format("{}: {}", subject, std::generic_category().message(error)));
}

} // namespace zelk::tool
