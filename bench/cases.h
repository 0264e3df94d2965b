// Inputs that are more than a text in some coding: pairs to collate, patterns to match, text full of markup.
#pragma once

#include "corpus.h"

#include <string>
#include <utility>
#include <vector>

namespace zelk_bench {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// Kinds: "random pairs" of names in thirteen languages; "nearly equal", the same name with another number after it;
// "equal"; "differing in case only", names in the nine languages of Latin letters.
constexpr const char *collationKinds[] = {"random pairs", "nearly equal", "equal", "differing in case only"};
Pairs collationPairs(const std::string &kind);

// What the collation sorts: 1,000 different names in thirteen languages.
std::vector<std::string> namesToSort();

// Kinds: "prefix" (word*), "suffix" (*word), "inner" (*word*), "two parts" (*word*word*), "question mark" (the text
// with one letter unknown). Texts with patterns; every other pattern is made from another text, so that about half of
// them match.
constexpr const char *wildcardKinds[] = {"prefix", "suffix", "inner", "two parts", "question mark"};
Pairs wildcardCases(const std::string &kind, Length length);

// English text in which one of & < > " ' takes the place of every blank ("dense") or of every tenth ("sparse").
Texts<char> markupTexts(const std::string &kind, Length length);

// The same with an entity in place of each.
Texts<char> escapedTexts(const std::string &kind, Length length);

} // namespace zelk_bench
