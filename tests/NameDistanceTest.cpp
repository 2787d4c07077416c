// VorlString_validateName: membership, closest entry, and the edit distance behind it.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <string>
#include <vector>

#include "platform/Strings.h"

namespace {

// Textbook full-matrix Levenshtein, to check the bounded one against.
size_t referenceDistance(const std::string &a, const std::string &b)
{
    std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
    for (size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j)
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                                d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
    return d[a.size()][b.size()];
}

// The distance reported against a one-entry table; -1 when the name is valid.
DDS_Long distanceOf(const std::string &name, const std::string &entry, int caseSensitive = 1)
{
    const char *table[] = {entry.c_str(), ""};
    DDS_Long index = -1;
    DDS_Long distance = INT_MAX;
    return VorlString_validateName(&index, &distance, name.c_str(), table, caseSensitive) ? -1
                                                                                          : distance;
}

// A small alphabet makes near misses, where pruning matters, common.
std::string randomName(std::mt19937 &random, size_t length)
{
    std::uniform_int_distribution<int> letter(0, 3);
    std::string s(length, 'a');
    for (char &c : s) c = static_cast<char>('a' + letter(random));
    return s;
}

TEST(NameDistanceTest, DistancesOfKnownPairs)
{
    EXPECT_EQ(distanceOf("kitten", "sitting"), 3);
    EXPECT_EQ(distanceOf("sitting", "kitten"), 3);
    EXPECT_EQ(distanceOf("intention", "execution"), 5);
    EXPECT_EQ(distanceOf("", "abc"), 3);
    EXPECT_EQ(distanceOf("dds.participant.idnex", "dds.participant.index"), 2)
        << "a transposition is two edits";
    EXPECT_EQ(distanceOf("ABC", "abc", 1), 3);
    EXPECT_EQ(distanceOf("ABC", "abc", 0), -1) << "without letter case the name is valid";
    EXPECT_EQ(distanceOf("ABD", "abc", 0), 1);
}

TEST(NameDistanceTest, OutputsChangeOnlyForAStrictlyCloserEntry)
{
    const char *table[] = {"zzzzzz", "abcx", "abcy", "abzz", ""};
    DDS_Long index = 7;
    DDS_Long distance = 42;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcy", table, 1), 1);
    EXPECT_EQ(index, 7) << "a present name leaves the outputs alone";
    EXPECT_EQ(distance, 42);

    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", table, 1), 0);
    EXPECT_EQ(index, 1) << "the first of two entries at the same distance";
    EXPECT_EQ(distance, 1);
    index = 9;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", table, 1), 0);
    EXPECT_EQ(index, 9) << "an entry as close as the distance passed in is not taken";

    const char *empty[] = {""};
    distance = 6;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "", empty, 1), 0);
    EXPECT_EQ(VorlString_validateName(nullptr, &distance, "abcz", table, 1), 0);
    EXPECT_EQ(VorlString_validateName(&index, nullptr, "abcz", table, 1), 0);
    EXPECT_EQ(VorlString_validateName(&index, &distance, nullptr, table, 1), 0);
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", nullptr, 1), 0);
    EXPECT_EQ(index, 9);
    EXPECT_EQ(distance, 6);
}

TEST(NameDistanceTest, MatchesTheReferenceOnRandomTables)
{
    // Pruning by length and abandoning rows must never change the entry chosen, and the distance
    // is exact while one of the two names fits the row (up to 256 characters).
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> shortLength(0, 24);
    std::uniform_int_distribution<size_t> tableSize(1, 12);
    for (int round = 0; round < 400; ++round) {
        std::vector<std::string> entries;
        for (size_t i = tableSize(random); i > 0; --i) {
            entries.push_back(randomName(random, 1 + shortLength(random)));
        }
        const bool longRound = round % 10 == 0;
        const std::string name = randomName(random, longRound ? 600 : shortLength(random));
        if (longRound) entries.push_back(randomName(random, 256));
        std::vector<const char *> table;
        for (const auto &e : entries) table.push_back(e.c_str());
        table.push_back("");

        const DDS_Long start = round % 3 == 0 ? 4 : INT_MAX;
        DDS_Long expectedIndex = -1;
        size_t expectedDistance = static_cast<size_t>(start);
        bool present = false;
        for (size_t i = 0; i < entries.size(); ++i) {
            present = present || entries[i] == name;
            const size_t d = referenceDistance(name, entries[i]);
            if (d < expectedDistance) {
                expectedDistance = d;
                expectedIndex = static_cast<DDS_Long>(i);
            }
        }
        DDS_Long index = -1;
        DDS_Long distance = start;
        ASSERT_EQ(VorlString_validateName(&index, &distance, name.c_str(), table.data(), 1),
                  present ? 1 : 0) << "round " << round;
        if (!present) {
            ASSERT_EQ(index, expectedIndex) << "round " << round;
            ASSERT_EQ(distance, static_cast<DDS_Long>(expectedDistance)) << "round " << round;
        }
    }
}

TEST(NameDistanceTest, NamesLongerThanTheRowGiveAnUpperBound)
{
    std::string base(300, 'a');
    std::string substituted = base;
    substituted[280] = 'b';
    EXPECT_EQ(distanceOf(base, substituted), 1) << "an edit past the row is still counted";
    EXPECT_EQ(distanceOf(std::string(5000, 'q'), "qq"), 4998);

    // Both beyond the row: never below the true distance, and for a few edits never more than
    // two more per row-sized piece (the shift that an insertion or deletion carries along).
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round) {
        std::string a = randomName(random, 257 + round * 37);
        std::string b = a;
        std::uniform_int_distribution<size_t> at(0, b.size() - 1);
        b.insert(at(random), 1, 'z');
        b.erase(at(random), 1);
        b[at(random)] = 'y';
        const DDS_Long d = distanceOf(a, b);
        ASSERT_GE(d, static_cast<DDS_Long>(referenceDistance(a, b))) << "round " << round;
        ASSERT_LE(d, 3 + 2 * static_cast<DDS_Long>(a.size() / 256 + 1)) << "round " << round;
    }
}

}  // namespace
