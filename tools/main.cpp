// The command-line tool `zelk`: looks at, converts, sorts and matches the text of digital television with the library.
#include "command.h"
#include "commands.h"
#include "stream.h"
#include "text.h"

#include "zelk.h"

#include <cctype>
#include <csignal>
#include <cstdio>
#include <new>
#include <sstream>
#include <string>

namespace {

using namespace zelk::tool;

constexpr const char *description = "Character sets and text of digital television.";
constexpr const char *statuses = "Exit status: 0 success; 1 nothing matched, or the text is invalid or has a fault; 2 "
                                 "wrong usage or\ninput; 3 a file could not be read or written.";

// "zelk sort", or "zelk" before a command is known.
std::string programName(const CLI::App &app) {
    const std::vector<CLI::App *> commands = app.get_subcommands();
    return commands.empty() ? app.get_name() : app.get_name() + ' ' + commands.front()->get_name();
}

int fail(const std::string &program, const std::string &message, int status) {
    const std::string line = onOneLine(program + ": " + message) + '\n';
    (void)std::fputs(line.c_str(), stderr); // nobody may be there to read it
    return status;
}

int failUsage(const CLI::App &app, std::string message) {
    const std::string program = programName(app);
    if (app.get_subcommands().empty()) {
        const std::vector<std::string> words = app.remaining();
        message = words.empty()             ? "expected a command"
                  : words.front()[0] == '-' ? fmt::format("unknown option '{}'", words.front())
                                            : fmt::format("unknown command '{}'", words.front());
    }
    if (std::isupper(static_cast<unsigned char>(message[0])) != 0) {
        message[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(message[0])));
    }
    return fail(program, fmt::format("{}; see '{} --help'", message, program), ExitBadInput);
}

int run(CLI::App &app, int argc, char **argv) {
    try {
        int status = ExitOk;
        try {
            app.parse(argc, argv);
        } catch (const CLI::RuntimeError &end) {
            status = end.get_exit_code();
        } catch (const CLI::Success &help) { // --help, --version
            std::ostringstream text;
            status = app.exit(help, text, text);
            write(text.str());
        }
        flushOutput();
        return status;
    } catch (const CLI::ParseError &error) {
        return failUsage(app, error.what());
    } catch (const Failure &failure) {
        flushOutput();
        return fail(programName(app), failure.what(), failure.status());
    } catch (const std::bad_alloc &) {
        return fail(programName(app), "not enough memory", ExitInputOutput);
    }
}

int runTool(int argc, char **argv) {
    CLI::App app(description, "zelk");
    app.footer(statuses); // of the commands, too
    app.set_help_flag("-h,--help", "Show this help");
    app.set_version_flag("--version",
                         fmt::format("zelk {}.{}.{}", ZELK_VERSION_MAJOR, ZELK_VERSION_MINOR, ZELK_VERSION_PATCH),
                         "Show the version");
    app.require_subcommand(1);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    addDecodeCommand(app);
    addExplainCommand(app);
    addEncodeCommand(app);
    addLintCommand(app);
    addOverridesCommand(app);
    addScanCommand(app);
    addHuffmanCommand(app);
    addConvertCommand(app);
    addSortCommand(app);
    addMatchCommand(app);
    addQuoteCommand(app);
    addCaseCommand(app);
    addXmlCommand(app);
    addValidateCommand(app);
    app.footer(std::string(statuses) + "\n'zelk COMMAND --help' tells more about a command.");

    return run(app, argc, argv);
}

} // namespace

int main(int argc, char **argv) {
    (void)std::signal(SIGPIPE, SIG_IGN); // write() sees the error instead
    try {
        return runTool(argc, argv);
    } catch (const BrokenPipe &) {
        return ExitOk;
    } catch (const std::exception &error) {
        (void)std::fprintf(stderr, "zelk: %s\n", error.what());
        return ExitInputOutput;
    }
}
