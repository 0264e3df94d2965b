// The manual page and the completions tell of the same commands and options as the tool itself.
#include "tool/run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace {

using namespace zelk_test;
using Words = std::set<std::string>;

std::string contentOf(const std::string &name) {
    std::ifstream file(std::string(ZELK_TOOL_SOURCES) + "/" + name, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    EXPECT_TRUE(file) << name;
    return content.str();
}

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> wordsOf(const std::string &line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

// The words of `--help` at the head of its indented lines, options with their short form as "-r,--raw".
Words headsOf(const std::string &help, bool options) {
    Words heads;
    for (const std::string &line : linesOf(help)) {
        if (line.size() > 2 && line.compare(0, 2, "  ") == 0 && line[2] != ' ' && (line[2] == '-') == options) {
            heads.insert(wordsOf(line).front());
        }
    }
    return heads;
}

const Words &commands() {
    static const Words names = headsOf(run({"--help"}).out, false);
    return names;
}

// Without --help, which all have.
const Words &optionsOf(const std::string &command) {
    static std::map<std::string, Words> known;
    const auto [place, isNew] = known.try_emplace(command);
    if (isNew) {
        place->second = headsOf(run({command, "--help"}).out, true);
        EXPECT_EQ(place->second.erase("-h,--help"), 1U) << command;
    }
    return place->second;
}

std::string longName(const std::string &option) {
    return option.substr(option.find("--"));
}

Words longNames(const Words &options) {
    Words names;
    for (const std::string &option : options) {
        names.insert(longName(option));
    }
    return names;
}

TEST(Documents, HelpIsUnderstood) {
    EXPECT_EQ(commands().size(), 14U);
    EXPECT_EQ(optionsOf("validate"), (Words{"-l,--lines", "-q,--quiet"}));
    EXPECT_TRUE(optionsOf("xml").empty());
}

// ---- Manual page ----

TEST(Documents, SynopsisHasEveryCommandWithItsOptions) {
    std::map<std::string, Words> synopsis;
    std::string command;
    bool inside = false;
    for (const std::string &line : linesOf(contentOf("zelk.1"))) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.empty()) {
            continue;
        }
        if (words[0] == ".Sh") {
            inside = words[1] == "SYNOPSIS";
        } else if (inside && words[0] == ".Nm") {
            command.clear();
        } else if (inside && words[0] == ".Cm" && command.empty()) {
            command = words.at(1);
            synopsis[command];
        } else if (inside && words[0] == ".Op" && words.at(1) == "Fl") {
            synopsis[command].insert("-" + words.at(2));
        }
    }
    EXPECT_EQ(synopsis[""], (Words{"--help", "--version"}));
    synopsis.erase("");
    EXPECT_EQ(synopsis.size(), commands().size());
    for (const std::string &name : commands()) {
        EXPECT_EQ(synopsis[name], longNames(optionsOf(name))) << name;
    }
}

TEST(Documents, ManualDescribesEveryOption) {
    Words described;
    Words itemCommands;
    for (const std::string &line : linesOf(contentOf("zelk.1"))) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() > 2 && words[0] == ".It" && words[1] == "Cm") {
            itemCommands.insert(words[2]);
        }
        if (words.size() > 2 && words[0] == ".It" && words[1] == "Fl") {
            const bool both = words.size() > 5 && words[3] == ",";
            described.insert(both ? "-" + words[2] + ",-" + words[5] : "-" + words[2]);
        }
    }
    Words options = {"-h,--help", "--version"};
    for (const std::string &name : commands()) {
        options.insert(optionsOf(name).begin(), optionsOf(name).end());
    }
    EXPECT_EQ(described, options);
    EXPECT_EQ(itemCommands, commands());
}

TEST(Documents, ManualFormatsWithoutWarnings) {
    const std::string page = std::string(ZELK_TOOL_SOURCES) + "/zelk.1";
    const Result result = runProgram("groff", {"-ww", "-mdoc", "-Tutf8", "-z", page});
    if (result.status == 127) {
        GTEST_SKIP() << "groff is not installed";
    }
    EXPECT_EQ(result, success(""));
}

// ---- Completions ----

// What bash offers for the words of a command line, the last of which is being written.
Words completed(const std::string &line) {
    const std::string script = "source " ZELK_TOOL_SOURCES "/completions/zelk.bash\n"
                               "PATH=$(dirname " ZELK_TOOL "):$PATH\n"
                               "COMP_WORDS=(" +
                               line +
                               ")\n"
                               "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                               "_zelk\n"
                               "printf '%s\\n' \"${COMPREPLY[@]}\"\n";
    const Result result = runProgram("bash", {"-c", script});
    EXPECT_EQ(result.error, "") << line;
    const std::vector<std::string> words = wordsOf(result.out);
    return {words.begin(), words.end()};
}

TEST(Documents, BashOffersWhatThereIs) {
    Words first = commands();
    first.insert({"--help", "--version"});
    EXPECT_EQ(completed("zelk ''"), first);
    for (const std::string &name : commands()) {
        Words options = longNames(optionsOf(name));
        options.insert("--help");
        EXPECT_EQ(completed("zelk " + name + " --"), options) << name;
    }
    EXPECT_EQ(completed("zelk xml ''"), (Words{"escape", "unescape"}));
    EXPECT_EQ(completed("zelk case u"), (Words{"upper"}));
    EXPECT_EQ(completed("zelk quote ''"), (Words{"extract", "strip"}));
    EXPECT_EQ(completed("zelk convert --from windows-125"),
              (Words{"windows-1250", "windows-1251", "windows-1252", "windows-1253", "windows-1254", "windows-1257"}));
}

// Words that the tool takes for an option, from the message that refuses another.
Words valuesOf(const std::string &command, const std::string &option) {
    const std::string message = run({command, option, "?"}).error;
    const std::size_t first = message.find("expected one of ");
    const std::size_t end = message.find(", found '?'");
    EXPECT_NE(first, std::string::npos) << message;
    std::string list = message.substr(first + 16, end - first - 16);
    for (char &c : list) {
        c = c == ',' ? ' ' : c;
    }
    const std::vector<std::string> words = wordsOf(list);
    return {words.begin(), words.end()};
}

TEST(Documents, BashOffersTheValuesThatAreTaken) {
    const std::pair<const char *, const char *> options[] = {
        {"decode", "--region"}, {"explain", "--region"}, {"scan", "--region"},   {"convert", "--region"},
        {"decode", "--to"},     {"convert", "--to"},     {"explain", "--color"}, {"huffman", "--type"},
    };
    for (const auto &[command, option] : options) {
        EXPECT_EQ(completed(std::string("zelk ") + command + ' ' + option + " ''"), valuesOf(command, option))
            << command << ' ' << option;
    }
}

TEST(Documents, ZshOffersWhatThereIs) {
    std::map<std::string, Words> offered;
    std::map<std::string, Words> shared; // the arrays of options
    std::string place;
    for (const std::string &line : linesOf(contentOf("completions/_zelk"))) {
        const std::size_t text = line.find_first_not_of(' ');
        if (text == std::string::npos) {
            continue;
        }
        if (text == 0 && line.find("=(") != std::string::npos) {
            place = "$" + line.substr(0, line.find('='));
        } else if (text == 0 && line.size() > 1 && line.find_first_of("( )") == line.size() - 1) {
            place = line.substr(0, line.size() - 1);
            offered[place];
        }
        if (place == "$commands" && line[text] == '\'') {
            shared[place].insert(line.substr(text + 1, line.find(':') - text - 1));
        }
        for (const char *array : {"$strings", "$dvb"}) {
            if (line.find(std::string(" ") + array + " ") != std::string::npos) {
                offered[place].insert(shared[array].begin(), shared[array].end());
            }
        }
        // '[*](-r --raw)'{-r,--raw}'[...' or '(...)--json[...' or '--json[...'
        const std::size_t brace = line.find("'{");
        const std::size_t bracket = line.find('[');
        if (bracket == std::string::npos || line.substr(0, bracket).find("--") == std::string::npos ||
            line.find("{-h,--help}") != std::string::npos) {
            continue;
        }
        std::string option;
        if (brace != std::string::npos) {
            option = line.substr(brace + 2, line.find('}') - brace - 2);
        } else {
            const std::string head = line.substr(0, bracket);
            option = head.substr(head.rfind("--"));
        }
        (place[0] == '$' ? shared : offered)[place].insert(option);
    }
    EXPECT_EQ(shared["$commands"], commands());
    for (const std::string &name : commands()) {
        EXPECT_EQ(offered[name], optionsOf(name)) << name;
    }
    EXPECT_EQ(offered.size(), commands().size());
}

TEST(Documents, FishOffersWhatThereIs) {
    Words offeredCommands;
    std::map<std::string, Words> offered;
    for (const std::string &line : linesOf(contentOf("completions/zelk.fish"))) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.empty() || words[0] != "complete") {
            continue;
        }
        std::string shortName;
        std::string name;
        std::string argument;
        for (std::size_t i = 0; i + 1 < words.size() && words[i] != "-d"; ++i) {
            shortName = words[i] == "-s" ? words[i + 1] : shortName;
            name = words[i] == "-l" ? words[i + 1] : name;
            argument = words[i] == "-a" ? words[i + 1] : argument;
        }
        const std::size_t seen = line.find("__fish_seen_subcommand_from ");
        if (seen == std::string::npos) {
            if (!argument.empty()) {
                offeredCommands.insert(argument);
            }
        } else if (!name.empty()) {
            const std::size_t list = seen + std::string("__fish_seen_subcommand_from ").size();
            for (const std::string &command : wordsOf(line.substr(list, line.find('\'', list) - list))) {
                offered[command].insert(shortName.empty() ? "--" + name : "-" + shortName + ",--" + name);
            }
        }
    }
    EXPECT_EQ(offeredCommands, commands());
    for (const std::string &name : commands()) {
        EXPECT_EQ(offered[name], optionsOf(name)) << name;
    }
}

// The shells themselves find no fault, where they are installed.
TEST(Documents, ShellsAcceptTheCompletions) {
    const std::pair<const char *, const char *> shells[] = {
        {"bash", "zelk.bash"}, {"zsh", "_zelk"}, {"fish", "zelk.fish"}};
    for (const auto &[shell, file] : shells) {
        const Result result = runProgram(shell, {"-n", std::string(ZELK_TOOL_SOURCES) + "/completions/" + file});
        if (result.status != 127) {
            EXPECT_EQ(result, success("")) << shell;
        }
    }
}

} // namespace
