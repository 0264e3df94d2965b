// What holds for all commands: help, errors, files, pipes.
#include "tool/run.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using namespace zelk_test;

const std::vector<std::string> fileCommands[] = {
    {"decode", "--file"},
    {"explain", "--file"},
    {"huffman", "--title", "--file"},
    {"convert", "--from", "1"},
    {"sort"},
    {"match", "*"},
    {"quote", "strip"},
    {"case", "upper"},
    {"xml", "escape"},
    {"convert", "--from", "dvb"},
    {"validate"},
    {"convert", "--from", "1", "--checked"},
};

std::vector<std::string> with(std::vector<std::string> arguments, const std::string &last) {
    arguments.push_back(last);
    return arguments;
}

TEST(Usage, HelpIsGrouped) {
    const Result help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.error, "");
    std::size_t at = 0;
    for (const char *heading : {"\nDVB text:\n  decode ", "\nConversion:\n  convert ", "\nLists of lines:\n  sort ",
                                "\nUTF-8 text:\n  case ", "\nExit status: 0 "}) {
        const std::size_t found = help.out.find(heading, at);
        ASSERT_NE(found, std::string::npos) << heading << help;
        at = found;
    }
    EXPECT_EQ(run({"-h"}), help);
}

TEST(Usage, CommandsHaveHelp) {
    const Result help = run({"sort", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("\nUsage: zelk sort [OPTIONS] [files...]\n"), std::string::npos) << help;
}

TEST(Usage, VersionIsTheLibrarys) {
    EXPECT_EQ(run({"--version"}), success("zelk " ZELK_VERSION "\n"));
}

TEST(Usage, MistakesGetOneLine) {
    EXPECT_EQ(run({}), failure(2, "zelk: expected a command; see 'zelk --help'"));
    EXPECT_EQ(run({"frob"}), failure(2, "zelk: unknown command 'frob'; see 'zelk --help'"));
    EXPECT_EQ(run({"--frob"}), failure(2, "zelk: unknown option '--frob'; see 'zelk --help'"));
    for (const std::vector<std::string> &command : fileCommands) {
        std::vector<std::string> arguments = command;
        if (arguments.back() == "--file") {
            arguments.pop_back();
        }
        const Result result = run(with(arguments, "--frob"));
        EXPECT_EQ(result, failure(2, "zelk " + command.front() +
                                         ": the following argument was not expected: --frob; "
                                         "see 'zelk " +
                                         command.front() + " --help'"));
    }
    EXPECT_EQ(run({"decode", "--to"}).error.substr(0, 19), "zelk decode: --to: ");
}

TEST(Usage, FilesThatCannotBeReadAreNamed) {
    for (const std::vector<std::string> &command : fileCommands) {
        EXPECT_EQ(run(with(command, "/no/such/file")),
                  failure(3, "zelk " + command.front() + ": /no/such/file: No such file or directory"));
    }
    EXPECT_EQ(run({"sort", "/"}), failure(3, "zelk sort: /: Is a directory"));
    EXPECT_EQ(run({"validate", "/"}), failure(3, "zelk validate: /: Is a directory"));
}

TEST(Usage, OutputThatCannotBeWrittenIsAnError) {
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full";
    }
    Environment full;
    full.outputFile = "/dev/full";
    EXPECT_EQ(run({"decode", "41"}, {}, full), failure(3, "zelk decode: standard output: No space left on device"));
    EXPECT_EQ(run({"explain", "41"}, {}, full), failure(3, "zelk explain: standard output: No space left on device"));
    EXPECT_EQ(run({"--help"}, {}, full), failure(3, "zelk: standard output: No space left on device"));
    EXPECT_EQ(run({"--version"}, {}, full), failure(3, "zelk: standard output: No space left on device"));
    const std::string much(300000, 'x');
    EXPECT_EQ(run({"convert", "--from", "1"}, much, full),
              failure(3, "zelk convert: standard output: No space left on device"));
}

#ifndef ZELK_TOOL_SANITIZED
// What must be held in memory and does not fit is an error like others.
TEST(Usage, MemoryThatIsNotThereIsAnError) {
    Environment small;
    small.addressSpace = 64U << 20U;
    EXPECT_EQ(run({"sort"}, std::string(100U << 20U, 'x'), small), failure(3, "zelk sort: not enough memory"));
}
#endif

TEST(Usage, BrokenPipesAreQuiet) {
    Environment closed;
    closed.closedOutput = true;
    const std::string much(300000, 'x');
    EXPECT_EQ(run({"convert", "--from", "1"}, much, closed), success(""));
    EXPECT_EQ(run({"sort"}, "a\n", closed), success(""));
    EXPECT_EQ(run({"--help"}, {}, closed), success(""));
    EXPECT_EQ(run({"decode"}, "41\n", closed), success(""));
}

// What a file is called, or an argument is, neither moves the cursor nor breaks the line nor the encoding.
TEST(Usage, MessagesAreOneLineOfPrintableText) {
    EXPECT_EQ(run({"sort", "no\x1B[2J\nsuch\xFF"}),
              failure(3, "zelk sort: no\\u001B[2J\\nsuch\\xFF: No such file or directory"));
    EXPECT_EQ(run({"no\xFF"}), failure(2, "zelk: unknown command 'no\\xFF'; see 'zelk --help'"));
    EXPECT_EQ(run({"scan", "--pid", "\x1B"}).error.find('\x1B'), std::string::npos);
    const Directory directory;
    const std::string odd = directory.put("a\xFF", "a\n");
    EXPECT_EQ(run({"validate", odd}), success(directory.path() + "/a\\xFF: valid\n"));
}

// Every command, used wrongly in each of the ways that it knows: one line on standard error, "zelk COMMAND: what: ...",
// that begins with a small letter, ends without a full stop and says what was expected or what the system said.
TEST(Usage, MessagesHaveOneForm) {
    const std::vector<std::vector<std::string>> mistakes = {
        {"decode", "4"},
        {"decode", "xyz"},
        {"decode", "--region", "mars", "41"},
        {"decode", "--default-code", "99", "41"},
        {"decode", "--to", "utf7", "41"},
        {"explain", "4g"},
        {"explain", "--color", "sometimes", "41"},
        {"encode", "--code", "klingon", "a"},
        {"lint", "--severity", "grave", "41"},
        {"lint", "--stream", "/no/such/file"},
        {"lint", "--language", "english", "41"},
        {"decode", "--language", "en", "41"},
        {"decode", "--country", "france", "41"},
        {"scan", "--language", "d1u"},
        {"encode", "--pieces", "--limit", "1", "\xC3\xA9"},
        {"scan", "/no/such/file"},
        {"scan", "/dev/null"},
        {"scan", "--from", "soon"},
        {"scan", "--limit", "0"},
        {"scan", "--follow", "--json"},
        {"scan", "--pid", "x"},
        {"huffman", "41"},
        {"huffman", "--type", "3", "41"},
        {"huffman", "--title", "--skip", "-1", "41"},
        {"convert"},
        {"convert", "--from", "klingon"},
        {"convert", "--from", "utf8", "--to", "teletext"},
        {"convert", "--from", "utf8", "--checked"},
        {"convert", "--from", "utf8", "/no/such/file"},
        {"sort", "--key", "0"},
        {"sort", "-o", "/no/such/folder/file", "/dev/null"},
        {"match"},
        {"match", "a", "/no/such/file"},
        {"quote", "strip", "--open", "ab"},
        {"quote", "eat"},
        {"case", "title"},
        {"xml", "parse"},
        {"validate", "/no/such/file"},
    };
    for (const std::vector<std::string> &arguments : mistakes) {
        const Result result = run(arguments);
        const std::string head = "zelk " + arguments[0] + ": ";
        EXPECT_TRUE(result.status == 2 || result.status == 3) << head << result;
        EXPECT_EQ(result.out, "") << head;
        ASSERT_EQ(result.error.substr(0, head.size()), head) << result;
        const std::string message = result.error.substr(head.size());
        EXPECT_EQ(message.find('\n'), message.size() - 1) << message;
        EXPECT_FALSE(message[0] >= 'A' && message[0] <= 'Z') << message;
        EXPECT_NE(message[message.size() - 2], '.') << message;
        const bool says = message.find("expected") != std::string::npos ||
                          message.find("No such file") != std::string::npos ||
                          message.find("is required") != std::string::npos;
        EXPECT_TRUE(says) << message;
        // A mistake of usage shows the way to the help.
        const bool usage = message.find("--help'") != std::string::npos;
        EXPECT_TRUE(!usage || message.find("; see 'zelk " + arguments[0] + " --help'\n") != std::string::npos)
            << message;
    }
}

} // namespace
