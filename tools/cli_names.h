// The names of CLI11 that declarations need. Its header takes longer to compile than most files of the tool.
#pragma once

namespace CLI {
class App;
class Option;
} // namespace CLI
