// Every command of the tool, in the order of `zelk --help`.
#pragma once

#include "cli_names.h"

namespace zelk::tool {

void addDecodeCommand(CLI::App &app);
void addExplainCommand(CLI::App &app);
void addEncodeCommand(CLI::App &app);
void addLintCommand(CLI::App &app);
void addOverridesCommand(CLI::App &app);
void addScanCommand(CLI::App &app);
void addHuffmanCommand(CLI::App &app);
void addConvertCommand(CLI::App &app);
void addSortCommand(CLI::App &app);
void addMatchCommand(CLI::App &app);
void addQuoteCommand(CLI::App &app);
void addCaseCommand(CLI::App &app);
void addXmlCommand(CLI::App &app);
void addValidateCommand(CLI::App &app);

} // namespace zelk::tool
