// Overrides and guesses: what a file says changes how strings are read, and what is wrong with a file is told.
#include "tool/languages.h"
#include "tool/run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

namespace {

using namespace zelk_test;
using nlohmann::json;

const std::string known = "version = 1\n"
                          "\n"
                          "[[override]]\n"
                          "country = \"FR\"\n"
                          "default-code = \"iso8859-1\"\n"
                          "source = \"a capture\"\n"
                          "date = 2026-11-01\n"
                          "\n"
                          "[[override]]\n"
                          "network = 0x3201\n"
                          "stream = 1\n"
                          "service = 101\n"
                          "region = \"iso8859-15\"\n"
                          "ignore-selector = true\n"
                          "default-code = \"utf-8\"\n"
                          "source = \"a letter\"\n"
                          "date = 2026-11-02\n";

TEST(Overrides, ChangeHowStringsAreRead) {
    const File file(known);
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--country", "FR", "E9"}), success("é\n"));
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--country", "fr", "E9"}), success("é\n"));
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--country", "DE", "E9"}), success("Ø\n"));
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--service", "3201.0001.0065", "05 C3 A9"}), success("é\n"));
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--service", "3201.0001.0066", "05 C3 A9"}), success("Ã©\n"));
    EXPECT_EQ(run({"convert", "-f", "dvb", "--overrides", file.path(), "--country", "FR"}, "\xE9\n"), success("é\n"));
    EXPECT_EQ(run({"decode", "--service", "3201.0001", "41"}).status, 2);
}

TEST(Overrides, LaterFilesCountFirst) {
    const File file(known);
    const File mine("version = 1\n[[override]]\ncountry = \"FR\"\ndefault-code = \"iso8859-5\"\nsource = \"I\"\n"
                    "date = 2026-11-03\n");
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--overrides", mine.path(), "--country", "FR", "E9"}),
              success("щ\n"));
    EXPECT_EQ(run({"decode", "--overrides", mine.path(), "--overrides", file.path(), "--country", "FR", "E9"}),
              success("é\n"));
}

std::string entry(const std::string &where, const std::string &how, const std::string &source) {
    return "[[override]]\n" + where + "\n" + how + "\nsource = \"" + source + "\"\ndate = 2026-11-05\n";
}

// The layers of a machine: of a system directory, of another that counts before it, and of the user.
struct Layers {
    Directory directory;
    std::string system = directory.path() + "/system/zelk/overrides.toml";
    std::string nearer = directory.path() + "/nearer/zelk/overrides.toml";
    std::string user = directory.path() + "/home/.config/zelk/overrides.toml";
    Environment environment;

    Layers() {
        environment.variables = {"XDG_CONFIG_DIRS=relative:" + directory.path() + "/nearer:" + directory.path() +
                                     "/system",
                                 "HOME=" + directory.path() + "/home"};
    }

    void write(const std::string &file, const std::string &entries) const {
        directory.put(file.substr(directory.path().size() + 1), "version = 1\n" + entries);
    }
    Result decode(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "decode");
        return run(arguments, {}, environment);
    }
};

// The lines of `check` but for the directory that the tool was configured with.
std::string checked(const Layers &layers) {
    const Result result = run({"overrides", "check"}, {}, layers.environment);
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_EQ(result.out.compare(0, 9, "system: /"), 0) << result;
    return result.out.substr(result.out.find('\n') + 1);
}

TEST(OverrideLayers, CountWithoutAnOptionTheUsersLast) {
    const Layers layers;
    const std::vector<std::string> string = {"--country", "FR", "E9"};
    const std::vector<std::string> plain = {"--no-overrides", "--country", "FR", "E9"};
    EXPECT_EQ(layers.decode(string), success("Ø\n"));
    layers.write(layers.system, entry("country = \"FR\"", "default-code = \"iso8859-1\"", "system"));
    EXPECT_EQ(layers.decode(string), success("é\n"));
    layers.write(layers.nearer, entry("country = \"FR\"", "default-code = \"iso8859-5\"", "nearer"));
    EXPECT_EQ(layers.decode(string), success("щ\n"));
    layers.write(layers.user, entry("country = \"FR\"", "default-code = \"iso8859-7\"", "user"));
    EXPECT_EQ(layers.decode(string), success("ι\n"));
    EXPECT_EQ(layers.decode(plain), success("Ø\n"));
    EXPECT_EQ(layers.decode({"E9"}), success("Ø\n")); // of which nothing is known

    const File given(known); // and not its own entry for 3201.0001.0065 alone
    EXPECT_EQ(layers.decode({"--overrides", given.path(), "--country", "FR", "E9"}), success("é\n"));
    EXPECT_EQ(layers.decode({"--no-overrides", "--overrides", given.path(), "--country", "FR", "E9"}), success("é\n"));
}

TEST(OverrideLayers, ReplaceEntryByEntry) {
    const Layers layers;
    layers.write(layers.system, entry("country = \"FR\"", "default-code = \"iso8859-1\"", "a") +
                                    entry("language = \"fre\"", "default-code = \"iso8859-5\"", "b") +
                                    entry("network = 1", "default-code = \"iso8859-7\"", "c"));
    layers.write(layers.user, entry("language = \"fre\"", "default-code = \"iso8859-2\"", "d") +
                                  entry("network = 1", "ignore-selector = false", "e"));
    EXPECT_EQ(layers.decode({"--country", "FR", "EA"}), success("ê\n"));
    EXPECT_EQ(layers.decode({"--language", "fre", "EA"}), success("ę\n"));
    EXPECT_EQ(layers.decode({"--service", "0001.0002.0003", "E9"}), success("Ø\n"));
    // The user's entry for a country is wider than the system's for a language.
    layers.write(layers.user, entry("country = \"FR\"", "default-code = \"iso8859-2\"", "f"));
    EXPECT_EQ(layers.decode({"--country", "FR", "--language", "fre", "EA"}), success("ъ\n"));
}

// An entry for either code of a language is for both, as an entry of a later layer is.
TEST(OverrideLayers, KnowBothCodesOfALanguage) {
    const auto forLanguage = [](const std::string &code, const std::string &how) {
        return entry("language = \"" + code + "\"", how, code);
    };
    const Layers layers;
    for (const auto &[bibliographic, terminologic] : languagesOfTwoCodes) {
        for (const auto &[mine, others] : {std::pair(bibliographic, terminologic), {terminologic, bibliographic}}) {
            layers.write(layers.user, forLanguage(mine, "default-code = \"iso8859-1\""));
            layers.write(layers.system, forLanguage(others, "default-code = \"iso8859-5\""));
            for (const std::string &asked : {std::string(mine), std::string(others), capitals(others)}) {
                EXPECT_EQ(layers.decode({"--language", asked, "E9"}), success("é\n")) << asked << " of " << mine;
            }
            EXPECT_EQ(layers.decode({"--language", "eng", "E9"}), success("Ø\n")) << mine;
        }
    }
    // One entry of the file, a line for each code in what receivers hold.
    layers.write(layers.system, forLanguage("eng", "ignore-selector = false"));
    layers.write(layers.user, forLanguage("fra", "ignore-selector = true") +
                                  entry("network = 1\nlanguage = \"deu\"", "region = \"iso8859-2\"", "b"));
    const std::string state = checked(layers);
    EXPECT_NE(state.find("overrides.toml: 2 entries\nentries: 3\n"), std::string::npos) << state;
    EXPECT_EQ(run({"overrides", "compact"}, {}, layers.environment).out,
              "zelk-overrides 1\nl=eng\nl=fra i\nl=fre i\nl=deu n=1 r=2\nl=ger n=1 r=2\n");
}

TEST(OverrideLayers, KnowBothCodesOfABroadcast) {
    const Layers layers;
    const std::string sample = ZELK_TOOL_SOURCES "/../samples/multiplex.ts"; // says "fre"
    for (const std::string code : {"fra", "fre"}) {
        layers.write(layers.user, entry("language = \"" + code + "\"", "default-code = \"iso8859-1\"", code));
        const json found =
            json::parse(run({"scan", "--json", "--evidence", "--language", "fra", sample}, {}, layers.environment).out);
        std::size_t overridden = 0;
        for (const json &event : found["events"]) {
            for (const json &text : event["texts"]) {
                overridden += text["reason"] == "override" && text["override"]["source"] == code ? 1 : 0;
            }
        }
        EXPECT_NE(overridden, 0U) << code;
    }
}

TEST(OverrideLayers, AreCheckedByTheirPaths) {
    const Layers layers;
    EXPECT_EQ(checked(layers), "system: " + layers.system + ": not there\nsystem: " + layers.nearer +
                                   ": not there\nuser: " + layers.user + ": not there\nentries: 0\n");
    layers.write(layers.system, entry("network = 1", "region = \"iso8859-2\"", "a"));
    layers.write(layers.user, entry("network = 1", "region = \"iso8859-2\"", "a") +
                                  entry("network = 2", "region = \"iso8859-2\"", "a"));
    EXPECT_EQ(checked(layers), "system: " + layers.system + ": 1 entry\nsystem: " + layers.nearer +
                                   ": not there\nuser: " + layers.user + ": 2 entries\nentries: 3\n");
    Layers elsewhere;
    elsewhere.environment.variables = layers.environment.variables;
    elsewhere.environment.variables.push_back("XDG_CONFIG_HOME=" + elsewhere.directory.path());
    const std::string lines = checked(elsewhere);
    EXPECT_NE(lines.find("\nuser: " + elsewhere.directory.path() + "/zelk/overrides.toml: not there\nentries: 1\n"),
              std::string::npos)
        << lines;
    EXPECT_EQ(run({"overrides", "compact"}, {}, layers.environment).out,
              "zelk-overrides 1\nn=1 r=2\nn=1 r=2\nn=2 r=2\n");
}

TEST(OverrideLayers, AreNeverWrittenAndFaultsAreTold) {
    const Layers layers;
    layers.write(layers.user, entry("country = \"fr\"", "region = \"iso8859-2\"", "a"));
    const Result result = layers.decode({"E9"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.error, "zelk decode: " + layers.user + ":3: expected a country as in ISO 3166, such as \"FR\"\n");
    EXPECT_EQ(layers.decode({"--no-overrides", "E9"}), success("Ø\n"));
    // Where no DVB string is read, nobody asks.
    EXPECT_EQ(run({"convert", "-f", "iso8859-1"}, "\xE9", layers.environment), success("é"));
    EXPECT_EQ(run({"convert", "-f", "dvb"}, "\xE9", layers.environment).status, 2);
    EXPECT_EQ(run({"overrides", "check"}, {}, layers.environment).status, 1);
    EXPECT_EQ(run({"overrides", "compact"}, {}, layers.environment).status, 1);
}

TEST(OverrideLayers, LeaveGb2312ToTheSystem) {
    const Layers layers;
    layers.write(layers.user, entry("country = \"CN\"", "region = \"gb2312\"", "a"));
    EXPECT_EQ(layers.decode({"--country", "CN", "D6D0"}), success("中\n"));
    EXPECT_EQ(layers.decode({"--region", "gb2312", "D6D0"}), success("中\n"));
}

// Every form of evidence names the entry that decided, and no other.
TEST(OverrideLayers, AreInTheEvidence) {
    const Layers layers;
    layers.write(layers.user, entry("network = 0x3201", "default-code = \"iso8859-1\"", "a capture"));
    const json named = {
        {"layer", "user"}, {"file", layers.user}, {"line", 2}, {"source", "a capture"}, {"date", "2026-11-05"}};
    const auto lineOf = [&layers](std::vector<std::string> arguments) {
        return json::parse(run(arguments, {}, layers.environment).out);
    };
    const json decoded = lineOf({"decode", "--json", "--service", "3201.0001.0065", "E9"});
    EXPECT_EQ(decoded["override"], named);
    EXPECT_EQ(decoded["reason"], "override");
    EXPECT_EQ(decoded["table"], "ISO 8859-1");
    EXPECT_EQ(decoded["code"], 1);
    const json announced = lineOf({"decode", "--json", "--service", "3201.0001.0065", "05 E9"});
    EXPECT_FALSE(announced.contains("override")); // the string says so itself
    EXPECT_EQ(announced["reason"], "selector");
    EXPECT_EQ(lineOf({"explain", "--json", "--service", "3201.0001.0065", "E9"})["override"], named);
    EXPECT_EQ(lineOf({"explain", "--json", "--service", "3202.0001.0065", "E9"})["override"], nullptr);

    const std::string sample = ZELK_TOOL_SOURCES "/../samples/multiplex.ts";
    std::size_t overridden = 0;
    const json scanned = lineOf({"scan", "--json", "--evidence", sample});
    for (const json &event : scanned["events"]) {
        for (const json &text : event["texts"]) {
            EXPECT_EQ(text["reason"] == "override", text.contains("override")) << text;
            if (text.contains("override")) {
                EXPECT_EQ(text["override"], named);
                // A selector that names no table leaves it to the settings, too.
                const bool selected = text["bytes"].get<std::string>() < "20";
                EXPECT_EQ(text["table"], std::string(selected ? "DVB default table" : "ISO 8859-1")) << text;
                overridden += selected ? 0 : 1;
            }
        }
    }
    EXPECT_NE(overridden, 0U);
    EXPECT_EQ(run({"scan", "--no-overrides", "--evidence", sample}, {}, layers.environment).out,
              run({"scan", "--evidence", sample}).out);
}

// An entry is named for what it gives alone: a selector without a table is read by the region, a string without a
// selector by the default code.
TEST(OverrideLayers, AreInTheEvidenceOfWhatTheyDecide) {
    const Layers layers;
    layers.write(layers.user, entry("language = \"fre\"", "default-code = \"iso8859-1\"", "a") +
                                  entry("language = \"pol\"", "region = \"iso8859-2\"", "b") +
                                  entry("language = \"eng\"", "ignore-selector = true", "c") +
                                  entry("language = \"ger\"", "ignore-selector = false", "d") +
                                  entry("language = \"chi\"", "region = \"gb2312\"", "e"));
    const auto reasonOf = [&layers](const std::string &language, const std::string &string,
                                    std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"decode", "--json", "--language", language});
        options.push_back(string);
        const json line = json::parse(run(options, {}, layers.environment).out);
        options[0] = "explain";
        const json explained = json::parse(run(options, {}, layers.environment).out);
        EXPECT_EQ(explained["override"].is_null(), !line.contains("override")) << string;
        EXPECT_EQ(line.contains("override"), line["reason"] == "override") << string;
        return line["reason"].get<std::string>() +
               (line.contains("override") ? " " + line["override"]["source"].get<std::string>() : "");
    };
    const std::vector<std::string> greek = {"--default-code", "iso8859-7"};
    for (const char *const reserved : {"0D E9", "12 E9", "1E E9"}) {
        EXPECT_EQ(reasonOf("fre", reserved), "region") << reserved;
        EXPECT_EQ(reasonOf("pol", reserved), "override b") << reserved;
        EXPECT_EQ(reasonOf("eng", reserved), "override c") << reserved;
    }
    EXPECT_EQ(reasonOf("fre", "E9"), "override a");
    EXPECT_EQ(reasonOf("fre", "05 E9"), "selector");
    EXPECT_EQ(reasonOf("pol", "E9"), "default");
    EXPECT_EQ(reasonOf("pol", "E9", greek), "default-code");
    EXPECT_EQ(reasonOf("eng", "05 E9", greek), "override c");
    EXPECT_EQ(reasonOf("eng", "E9", greek), "default-code");
    EXPECT_EQ(reasonOf("ger", "E9", greek), "default-code");
    EXPECT_EQ(reasonOf("ger", "05 E9"), "selector");
    EXPECT_EQ(reasonOf("chi", "D6 D0"), "override e");
    EXPECT_EQ(reasonOf("ita", "D6 D0", {"--region", "gb2312"}), "region");
}

// Lint names it in each of its forms, in the words of decode and explain.
TEST(OverrideLayers, AreInTheFaults) {
    const Layers layers;
    layers.write(layers.user, entry("language = \"fre\"", "default-code = \"iso8859-1\"", "a capture"));
    const json named = {
        {"layer", "user"}, {"file", layers.user}, {"line", 2}, {"source", "a capture"}, {"date", "2026-11-05"}};
    const auto lint = [&layers](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"lint", "--language", "fre"});
        return run(arguments, {}, layers.environment).out;
    };
    EXPECT_EQ(lint({"E9 8A"}),
              "argument 1: offset 1: warning: control-trailing: Control codes are the last thing in the "
              "string. The table is overridden by " +
                  layers.user + ":2, a capture, 2026-11-05.\n");
    const json fault = json::parse(lint({"--json", "E9 8A"}));
    EXPECT_EQ(fault["override"], named);
    EXPECT_EQ(fault["reason"], "override");
    EXPECT_EQ(fault["table"], "ISO 8859-1");
    const json properties = json::parse(lint({"--sarif", "E9 8A"}))["runs"][0]["results"][0]["properties"];
    EXPECT_EQ(properties["override"], named);
    EXPECT_EQ(properties["reason"], "override");
    EXPECT_EQ(properties["table"], "ISO 8859-1");

    // The string says its table itself.
    EXPECT_EQ(lint({"05 E9 8A"}).find("overridden"), std::string::npos);
    const json announced = json::parse(lint({"--json", "05 E9 8A"}));
    EXPECT_FALSE(announced.contains("override"));
    EXPECT_EQ(announced["reason"], "selector");
    const json plain = json::parse(lint({"--sarif", "05 E9 8A"}))["runs"][0]["results"][0]["properties"];
    EXPECT_FALSE(plain.contains("override"));
    EXPECT_EQ(plain["reason"], "selector");

    // By the service that sends it, whose selector names no table.
    layers.write(layers.user, entry("service = 0xe1", "region = \"iso8859-2\"", "a capture"));
    std::istringstream lines(lint({"--json", "--stream", ZELK_TOOL_SOURCES "/../samples/multiplex.ts"}));
    std::size_t overridden = 0;
    for (std::string line; std::getline(lines, line);) {
        const json object = json::parse(line);
        EXPECT_EQ(object.contains("override"), object["reason"] == "override") << object;
        if (object.contains("override")) {
            EXPECT_NE(object["place"].get<std::string>().find(".00e1"), std::string::npos) << object;
            ++overridden;
        }
    }
    EXPECT_NE(overridden, 0U);
}

TEST(Overrides, AreExplained) {
    const File file(known);
    const Result result = run({"explain", "--overrides", file.path(), "--country", "FR", "E9"});
    EXPECT_NE(result.out.find("overridden by " + file.path() + ":3, a capture, 2026-11-01"), std::string::npos)
        << result;
}

TEST(Overrides, AreChecked) {
    const File good(known);
    EXPECT_EQ(run({"overrides", "check", good.path()}), success("file: " + good.path() + ": 2 entries\nentries: 2\n"));
    EXPECT_EQ(run({"overrides", "compact", good.path()}).out.substr(0, 17), "zelk-overrides 1\n");
    const std::pair<const char *, const char *> faults[] = {
        {"", ":1: expected 'version = 1'"},
        {"version = 2\n", ":1: expected 'version = 1'"},
        {"version = 1\n[[override]\n", ":2: expected TOML"},
        {"version = 1\n[[override]]\ndate = 2026-02-30\n", ":3: expected TOML"},
        {"version = 1\nfoo = 2\n", ":2: expected [[override]], found 'foo'"},
        {"version = 1\n[[override]]\nnetwork = 70000\n", ":3: expected a number from 0 to 65535"},
        {"version = 1\n[[override]]\ncountry = \"fr\"\n", "expected a country as in ISO 3166"},
        {"version = 1\n[[override]]\nlanguage = \"FRE\"\n", "expected a language as in ISO 639-2"},
        {"version = 1\n[[override]]\nregion = \"mars\"\n", "expected a region"},
        {"version = 1\n[[override]]\ndefault-code = \"mars\"\n", "expected a code"},
        {"version = 1\n[[override]]\nignore-selector = 1\n", "expected true or false"},
        {"version = 1\n[[override]]\nplanet = 1\n", "expected a key of overrides, found 'planet'"},
        {"version = 1\n[[override]]\nnetwork = 1\n", "expected a source"},
        {"version = 1\n[[override]]\nnetwork = 1\n", "expected a date"},
        {"version = 1\n[[override]]\nnetwork = 1\n", "expected a region, default-code or ignore-selector"},
    };
    for (const auto &[content, expected] : faults) {
        const File file(content);
        const Result result = run({"overrides", "check", file.path()});
        EXPECT_EQ(result.status, 1) << content;
        EXPECT_NE(result.error.find(expected), std::string::npos) << expected << result;
        EXPECT_EQ(run({"decode", "--overrides", file.path(), "41"}).status, 2) << content;
    }
    EXPECT_EQ(run({"overrides", "check", "/no/such/file"}).status, 3);
}

TEST(Guess, ReadsAnotherTable) {
    const std::string title = "52 E9 61 6C 69 73 E9 20 70 61 72 20 75 6E 20 E9 6C E8 76 65";
    EXPECT_EQ(run({"decode", "--guess", title}), success("Réalisé par un élève\n"));
    EXPECT_EQ(run({"decode", title}), success("RØalisØ par un ØlŁve\n"));
    const Result result = run({"explain", "--guess", title});
    EXPECT_NE(result.out.find("guessed from the bytes"), std::string::npos) << result;
}

} // namespace
