// VorlString_validateName: membership, closest entry, and the edit distance behind it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <random>
#include <string>
#include <vector>

#include <propqos/sys/Strings.h>

namespace {

// Textbook full-matrix Levenshtein, to check the bounded one against.
DDS_Long referenceDistance(const std::string &a, const std::string &b)
{
    std::vector<std::vector<DDS_Long>> d(a.size() + 1, std::vector<DDS_Long>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) d[i][0] = static_cast<DDS_Long>(i);
    for (size_t j = 0; j <= b.size(); ++j) d[0][j] = static_cast<DDS_Long>(j);
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j)
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                                d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
    return d[a.size()][b.size()];
}

// The distance reported against a one-entry table; -1 when the name is valid.
DDS_Long distanceOf(const std::string &name, const std::string &entry, int withCase = 1)
{
    const char *table[] = {entry.c_str(), ""};
    DDS_Long index = -1;
    DDS_Long distance = INT_MAX;
    const int valid = VorlString_validateName(&index, &distance, name.c_str(), table, withCase);
    return valid ? -1 : distance;
}

TEST(NameDistanceTest, DistancesOfKnownPairs)
{
    EXPECT_EQ(distanceOf("kitten", "sitting"), 3);
    EXPECT_EQ(distanceOf("sitting", "kitten"), 3);
    EXPECT_EQ(distanceOf("intention", "execution"), 5);
    EXPECT_EQ(distanceOf("", "abc"), 3);
    EXPECT_EQ(distanceOf("dds.participant.idnex", "dds.participant.index"), 2) << "transposition";
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
    EXPECT_TRUE(index == 7 && distance == 42) << "a present name leaves the outputs alone";
    EXPECT_EQ(VorlString_validateName(&index, &distance, "abcz", table, 1), 0);
    EXPECT_TRUE(index == 1 && distance == 1) << "the first of two entries at the same distance";
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
    EXPECT_TRUE(index == 9 && distance == 6);
}

TEST(NameDistanceTest, ClosestEntryMatchesTheFullTableOnRandomNames)
{
    // Names on both sides of 64 characters (one machine word), entries near them (a few edits)
    // and far from them, either letter case: the entry taken is the first at the least distance.
    std::mt19937 random(14);
    const auto text = [&](size_t length) {
        std::string s;
        for (size_t i = 0; i < length; ++i) s += "abcABC._x9"[random() % 10];
        return s;
    };
    const auto folded = [](std::string s) {
        for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return s;
    };
    for (int round = 0; round < 3000; ++round) {
        const std::string name = text(random() % 90);
        std::vector<std::string> entries;
        for (int k = 0; k < 6; ++k) {
            std::string e = random() % 2 ? text(1 + random() % 120) : name;
            for (int edits = random() % 5; edits > 0 && !e.empty(); --edits) {
                const size_t at = random() % e.size();
                random() % 2 ? e.erase(at, 1) : e.insert(at, 1, "aB."[random() % 3]);
            }
            entries.push_back(e.empty() ? "q" : e);
        }
        std::vector<const char *> table;
        for (const std::string &e : entries) table.push_back(e.c_str());
        table.push_back("");
        for (int withCase = 0; withCase <= 1; ++withCase) {
            DDS_Long want = -1, wantDistance = INT_MAX, index = -1, distance = INT_MAX;
            for (size_t k = 0; k < entries.size(); ++k) {
                const DDS_Long d = withCase ? referenceDistance(name, entries[k])
                                            : referenceDistance(folded(name), folded(entries[k]));
                if (d < wantDistance) want = static_cast<DDS_Long>(k), wantDistance = d;
            }
            if (wantDistance == 0) continue; // the name is in the table
            EXPECT_EQ(VorlString_validateName(&index, &distance, name.c_str(), table.data(), withCase), 0);
            ASSERT_TRUE(index == want && distance == wantDistance)
                << name << " case " << withCase << ": " << index << "/" << distance << " instead of "
                << want << "/" << wantDistance;
        }
    }
}

TEST(NameDistanceTest, NamesLongerThanTheRowGiveAnUpperBound)
{
    // Exact while one of the two fits the row of 256 characters.
    std::string base(300, 'a');
    std::string substituted = base;
    substituted[280] = 'b';
    EXPECT_EQ(distanceOf(base, substituted), 1) << "an edit past the row is still counted";
    EXPECT_EQ(distanceOf(std::string(5000, 'q'), "qq"), 4998);
    EXPECT_EQ(distanceOf(std::string(700, 'x'), std::string(256, 'x')), 444);

    // Both beyond the row: never below the true distance, and for a few edits never more than
    // two more per row-sized piece (the shift that an insertion or deletion carries along).
    std::string a;
    for (int i = 0; i < 700; ++i) a += static_cast<char>('a' + (i * 7 + i / 5) % 4);
    std::string b = a;
    b.insert(3, 1, 'z');
    b.erase(650, 1);
    b[300] = 'y';
    EXPECT_GE(distanceOf(a, b), referenceDistance(a, b));
    EXPECT_LE(distanceOf(a, b), 3 + 2 * 3);
    // Both beyond the row and of very different lengths: the excess is counted in full.
    EXPECT_EQ(distanceOf(std::string(1000, 'x'), std::string(300, 'x')), 700);
    EXPECT_EQ(distanceOf(std::string(300, 'x'), std::string(1000, 'x')), 700);
}

}  // namespace
