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
    for (size_t i = 1; i <= a.size(); ++i) {
        for (size_t j = 1; j <= b.size(); ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                                d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
        }
    }
    return d[a.size()][b.size()];
}

// The distance that validateName reports between `name` and a one-entry table, or -1 when it
// reports the name as valid or reports nothing.
DDS_Long distanceOf(const std::string &name, const std::string &entry, int caseSensitive = 1)
{
    const char *table[] = {entry.c_str(), ""};
    DDS_Long index = -1;
    DDS_Long distance = INT_MAX;
    if (VorlString_validateName(&index, &distance, name.c_str(), table, caseSensitive)) {
        return -1;
    }
    return index == 0 ? distance : -1;
}

std::string randomName(std::mt19937 &random, size_t length)
{
    // A small alphabet makes near misses, where pruning matters, common.
    std::uniform_int_distribution<int> letter(0, 3);
    std::string s(length, 'a');
    for (char &c : s) c = static_cast<char>('a' + letter(random));
    return s;
}

TEST(NameDistanceTest, DistancesOfKnownPairs)
{
    EXPECT_EQ(distanceOf("kitten", "sitting"), 3);
    EXPECT_EQ(distanceOf("sitting", "kitten"), 3);
    EXPECT_EQ(distanceOf("flaw", "lawn"), 2);
    EXPECT_EQ(distanceOf("intention", "execution"), 5);
    EXPECT_EQ(distanceOf("saturday", "sunday"), 3);
    EXPECT_EQ(distanceOf("", "abc"), 3);
    EXPECT_EQ(distanceOf("abc", ""), -1) << "the empty entry ends the table";
    EXPECT_EQ(distanceOf("dds.participant.indx", "dds.participant.index"), 1);
    EXPECT_EQ(distanceOf("dds.participant.idnex", "dds.participant.index"), 2)
        << "a transposition is two edits";

    // With letter case, a capital is a substitution; without it, the same name is valid.
    EXPECT_EQ(distanceOf("ABC", "abc", 1), 3);
    EXPECT_EQ(distanceOf("ABC", "abc", 0), -1);
    EXPECT_EQ(distanceOf("ABD", "abc", 0), 1);
}

TEST(NameDistanceTest, PresentNameIsValidAndLeavesOutputsAlone)
{
    const char *table[] = {"alpha", "beta", "gamma", ""};
    DDS_Long index = 7;
    DDS_Long distance = 42;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "gamma", table, 1), 1);
    EXPECT_EQ(index, 7);
    EXPECT_EQ(distance, 42);

    EXPECT_EQ(VorlString_validateName(&index, &distance, "Gamma", table, 1), 0);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(distance, 1);

    index = 7;
    distance = 42;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "Gamma", table, 0), 1);
    EXPECT_EQ(index, 7);
    EXPECT_EQ(distance, 42);
}

TEST(NameDistanceTest, OnlyStrictlyCloserEntriesAreTaken)
{
    const char *table[] = {"zzzzzz", "abcx", "abcy", "abzz", ""};
    DDS_Long index = 0;
    DDS_Long distance = INT_MAX;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", table, 1), 0);
    EXPECT_EQ(index, 1) << "the first of two entries at the same distance";
    EXPECT_EQ(distance, 1);

    // A start distance equal to the best leaves both outputs as they were...
    index = 9;
    distance = 1;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", table, 1), 0);
    EXPECT_EQ(index, 9);
    EXPECT_EQ(distance, 1);

    // ...one just above takes the closest entry, and one of 0 or below nothing at all.
    distance = 2;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", table, 1), 0);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(distance, 1);
    index = 9;
    distance = 0;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", table, 1), 0);
    EXPECT_EQ(index, 9);
    EXPECT_EQ(distance, 0);

    // A later entry wins only when strictly closer than the earlier ones.
    const char *later[] = {"abzz", "abcd", "abce", ""};
    index = 0;
    distance = INT_MAX;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcf", later, 1), 0);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(distance, 1);
}

TEST(NameDistanceTest, EmptyTableAndNullArguments)
{
    const char *empty[] = {""};
    const char *table[] = {"alpha", ""};
    DDS_Long index = 5;
    DDS_Long distance = 6;
    EXPECT_EQ(VorlString_validateName(&index, &distance, "alpha", empty, 1), 0);
    EXPECT_EQ(VorlString_validateName(&index, &distance, "", empty, 1), 0);
    EXPECT_EQ(VorlString_validateName(nullptr, &distance, "alpha", table, 1), 0);
    EXPECT_EQ(VorlString_validateName(&index, nullptr, "alpha", table, 1), 0);
    EXPECT_EQ(VorlString_validateName(&index, &distance, nullptr, table, 1), 0);
    EXPECT_EQ(VorlString_validateName(&index, &distance, "alpha", nullptr, 1), 0);
    EXPECT_EQ(index, 5);
    EXPECT_EQ(distance, 6);
}

TEST(NameDistanceTest, MatchesTheReferenceOnRandomTables)
{
    // Pruning by length and abandoning rows must never change which entry is chosen, and the
    // distance must be exact while one of the two names fits the row (here up to 256).
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> shortLength(0, 24);
    std::uniform_int_distribution<size_t> tableSize(1, 12);
    for (int round = 0; round < 400; ++round) {
        std::vector<std::string> entries;
        const size_t n = tableSize(random);
        for (size_t i = 0; i < n; ++i) {
            entries.push_back(randomName(random, 1 + shortLength(random)));
        }
        // Long names now and then: one side within the row, the other well beyond it.
        const bool longRound = round % 10 == 0;
        const std::string name = randomName(random, longRound ? 600 : shortLength(random));
        if (longRound) {
            entries.push_back(randomName(random, 256));
        }
        std::vector<const char *> table;
        for (const auto &e : entries) table.push_back(e.c_str());
        table.push_back("");

        const DDS_Long start = round % 3 == 0 ? 4 : INT_MAX;
        DDS_Long expectedIndex = -1;
        size_t expectedDistance = static_cast<size_t>(start);
        bool present = false;
        for (size_t i = 0; i < entries.size(); ++i) {
            present = present || entries[i] == name;
            size_t d = referenceDistance(name, entries[i]);
            if (d < expectedDistance) {
                expectedDistance = d;
                expectedIndex = static_cast<DDS_Long>(i);
            }
        }
        DDS_Long index = -1;
        DDS_Long distance = start;
        int valid = VorlString_validateName(&index, &distance, name.c_str(), table.data(), 1);
        ASSERT_EQ(valid, present ? 1 : 0) << "round " << round;
        if (present) {
            continue;
        }
        ASSERT_EQ(index, expectedIndex) << "round " << round << " name " << name;
        ASSERT_EQ(distance, static_cast<DDS_Long>(expectedDistance)) << "round " << round;
    }
}

TEST(NameDistanceTest, NamesLongerThanTheRowGiveAnUpperBound)
{
    // A substitution past the row's length is still counted exactly.
    std::string base(300, 'a');
    std::string substituted = base;
    substituted[280] = 'b';
    EXPECT_EQ(distanceOf(base, substituted), 1);
    EXPECT_EQ(distanceOf(base + "xyz", base), 3);

    // One side within the row: exact whatever the other's length.
    EXPECT_EQ(distanceOf(std::string(200, 'a'), std::string(1000, 'a')), 800);
    EXPECT_EQ(distanceOf(std::string(5000, 'q'), "qq"), 4998);

    // Both beyond the row: never below the true distance, never far above it for a small edit,
    // and never below the length difference.
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round) {
        std::string a = randomName(random, 257 + round * 37);
        std::string b = a;
        std::uniform_int_distribution<size_t> at(0, b.size() - 1);
        b.insert(at(random), 1, 'z');
        b.erase(at(random), 1);
        b[at(random)] = 'y';
        const DDS_Long d = distanceOf(a, b);
        const DDS_Long exact = static_cast<DDS_Long>(referenceDistance(a, b));
        ASSERT_GE(d, exact) << "round " << round;
        // Each row-sized piece boundary can add at most two edits to the three made.
        ASSERT_LE(d, 3 + 2 * static_cast<DDS_Long>(a.size() / 256 + 1)) << "round " << round;
    }
    std::string longer = randomName(random, 900);
    std::string shorter = randomName(random, 400);
    const DDS_Long d = distanceOf(longer, shorter);
    EXPECT_GE(d, static_cast<DDS_Long>(referenceDistance(longer, shorter)));
    EXPECT_LE(d, 900);
}

}  // namespace
