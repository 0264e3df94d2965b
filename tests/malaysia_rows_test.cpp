// Broken copies of the files of Malaysian rows: each is refused with its line and the reason. The edits touch what
// every edition of the tables holds, so that the test outlives the provisional rows.
#include "tables/malaysia_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using namespace zelk::tables;

class File {
public:
    File(const std::string &name, const KnownMalaysiaTable &known) : known_(&known) {
        std::ifstream file(MALAYSIA_TABLES "/" + name, std::ios::binary);
        text_.assign(std::istreambuf_iterator<char>(file), {});
        EXPECT_FALSE(text_.empty());
    }

    std::string rowOf(const std::string &piece) const {
        const std::size_t end = text_.find("\t" + piece + "\n");
        EXPECT_NE(end, std::string::npos) << piece;
        const std::size_t begin = text_.rfind('\n', end) + 1;
        return text_.substr(begin, end + 1 + piece.size() - begin);
    }

    // Of the piece's code with `more` bits after it.
    std::string longerRowOf(const std::string &piece, const std::string &more) const {
        const std::string row = rowOf(piece);
        return row.substr(0, row.find('\t')) + more + "\t" + piece;
    }

    void replace(const std::string &from, const std::string &to) {
        const std::size_t at = text_.find(from + "\n");
        ASSERT_NE(at, std::string::npos) << from;
        line_ = lineAt(at);
        text_.replace(at, from.size(), to);
    }
    void remove(const std::string &row) { replace("\n" + row, ""); }

    Finding finding() const {
        return known_ == &englishTable ? readMalaysiaRows<englishTable.rows()>(text_, englishTable).found
                                       : readMalaysiaRows<malayTable.rows()>(text_, malayTable).found;
    }

    // Refused for the line that was edited.
    void expect(Fault fault) const { expectAt(fault, line_); }

    // Refused for the table as a whole, which the last row stands for.
    void expectAtEnd(Fault fault) const { expectAt(fault, lineAt(text_.rfind('\t'))); }

private:
    std::size_t lineAt(std::size_t at) const {
        return 1 + static_cast<std::size_t>(std::count(text_.begin(), text_.begin() + static_cast<long>(at), '\n'));
    }

    void expectAt(Fault fault, std::size_t line) const {
        const Finding found = finding();
        EXPECT_EQ(static_cast<int>(found.fault), static_cast<int>(fault));
        EXPECT_EQ(static_cast<std::size_t>(found.line), line);
    }

    const KnownMalaysiaTable *known_;
    std::string text_;
    std::size_t line_ = 0;
};

File english() {
    return {"malaysia_en.tsv", englishTable};
}
File malay() {
    return {"malaysia_ms.tsv", malayTable};
}

void expectFault(File file, const std::string &from, const std::string &to, Fault fault) {
    SCOPED_TRACE(to);
    file.replace(from, to);
    file.expect(fault);
}

TEST(MalaysiaRows, FilesAgreeWithWhatIsKnown) {
    EXPECT_EQ(english().finding().fault, Fault::None);
    EXPECT_EQ(malay().finding().fault, Fault::None);
}

TEST(MalaysiaRows, AreRead) {
    const auto table = readMalaysiaRows<2>("# 1\n0\tb\n\n# 2\n1\t a\n", {.file = {},
                                                                         .pieces = {1, 1, 0, 0},
                                                                         .shortestCode = 1,
                                                                         .longestCode = 1,
                                                                         .sum = 4096,
                                                                         .first = {},
                                                                         .anywhere = {},
                                                                         .last = {"1", " a"},
                                                                         .longerCode = {}});
    EXPECT_EQ(table.found.fault, Fault::None);
    EXPECT_TRUE(table.rows[0].isRow({"0", "b"}));
    EXPECT_TRUE(table.rows[1].isRow({"1", " a"}));
    EXPECT_EQ(static_cast<int>(table.rows[1].line), 5);
}

TEST(MalaysiaRows, RowIsCodeTabAndPiece) {
    for (const std::string row : {"01002\tn", "01000 n", "\tn", "01000", " 01000\tn"}) {
        expectFault(english(), "01000\tn", row, Fault::RowIsNotCodeTabAndPiece);
    }
}

TEST(MalaysiaRows, CodeHasTheBitsOfItsTable) {
    expectFault(english(), "01000\tn", "010\tn", Fault::CodeIsShorterThanAllOfTheTable);
    expectFault(english(), english().rowOf("B"), "000000000000\tB", Fault::CodeIsLongerThanAllOfTheTable);
    expectFault(malay(), malay().rowOf("B"), "0000000000000\tB", Fault::CodeIsLongerThanAllOfTheTable);
}

TEST(MalaysiaRows, PieceIsPrintable) {
    for (const std::string row : {"01000\t", "01000\t\xC3\xB1", "01000\tn\r", "01000\tn\t", "01000\t\x7F"}) {
        expectFault(english(), "01000\tn", row, Fault::PieceIsNotPrintable7BitText);
    }
}

TEST(MalaysiaRows, PieceHasFourCharactersAtMost) {
    expectFault(english(), "110010000\ttion", "110010000\ttions", Fault::PieceIsLongerThanFourCharacters);
}

TEST(MalaysiaRows, ApostropheAndBackslashHaveNoCode) {
    for (const std::string row : {"11111100\t'", "11111100\t\\"}) {
        expectFault(english(), english().rowOf("B"), row, Fault::ApostropheAndBackslashHaveNoCode);
    }
}

TEST(MalaysiaRows, BeginAsThePublishedTable) {
    expectFault(english(), "100010011\tThis\n101100111\tshow", "101100111\tshow\n100010011\tThis",
                Fault::TableBeginsWithOtherRows);
    expectFault(malay(), "011110011\taksi", "011110011\taksa", Fault::TableBeginsWithOtherRows);
}

TEST(MalaysiaRows, EndAsThePublishedTable) {
    expectFault(english(), "1001010100\tA", "10010101000\tA", Fault::TableHasAnotherLastRow);
    expectFault(malay(), "110100010\tj", "1101000100\tj", Fault::TableHasAnotherLastRow);
}

TEST(MalaysiaRows, AreAsManyAsPublished) {
    File fewer = english();
    fewer.remove(fewer.rowOf("B"));
    fewer.expectAtEnd(Fault::FileHasFewerRowsThanTheTable);
    File more = malay();
    more.replace("110100010\tj", "110100010\tj\n001111111111\tB!?B");
    more.expectAtEnd(Fault::FileHasMoreRowsThanTheTable);
    const Finding empty = readMalaysiaRows<englishTable.rows()>("", englishTable).found;
    EXPECT_EQ(empty.fault, Fault::FileHasFewerRowsThanTheTable);
    EXPECT_EQ(static_cast<int>(empty.line), 0);
}

TEST(MalaysiaRows, StandOnce) {
    expectFault(english(), "01010\to", "01010\tn", Fault::PieceStandsInAnotherLineToo);
    expectFault(english(), "01010\to", "01000\to", Fault::CodeStandsInAnotherLineToo);
}

TEST(MalaysiaRows, NoCodeBeginsAnotherExceptTheKnownPair) {
    const Fault fault = Fault::CodeBeginsWithTheCodeOfAnotherLine;
    expectFault(english(), english().rowOf("B"), "11010000000\tB", fault);
    expectFault(malay(), malay().rowOf("B"), "10000000000\tB", fault);
    expectFault(malay(), malay().rowOf("B"), "1010001000\tB", fault);
    expectFault(malay(), malay().rowOf("B"), "10100010010\tB", fault);
    expectFault(malay(), malay().rowOf("B"), "10100010011\tB", fault);
}

TEST(MalaysiaRows, KnownRowsAreThere) {
    const Fault fault = Fault::TableHasAnotherCodeForThisPieceOrPieceForThisCode;
    expectFault(english(), "01000\tn", "010000\tn", fault);
    expectFault(malay(), "0001100\tyang", "0001100\tYANG", fault);
    File neither = english();
    neither.replace("01000\tn", "010000\tB!?B");
    neither.expectAtEnd(fault);
}

TEST(MalaysiaRows, HaveThePublishedFigures) {
    File longerPiece = english();
    longerPiece.replace(longerPiece.rowOf("B"), longerPiece.rowOf("B") + "!!");
    longerPiece.expectAtEnd(Fault::TableHasOtherNumbersOfPiecesOfOneToFourCharacters);
    File longerCode = english();
    longerCode.replace(longerCode.rowOf("e"), longerCode.longerRowOf("e", "0"));
    longerCode.expectAtEnd(Fault::SumOfTwoToThePowerOfMinusCodeLengthIsAnother);
    File longerMalayCode = malay();
    longerMalayCode.replace(longerMalayCode.rowOf("u"), longerMalayCode.longerRowOf("u", "0"));
    longerMalayCode.expectAtEnd(Fault::SumOfTwoToThePowerOfMinusCodeLengthIsAnother);
}

} // namespace
