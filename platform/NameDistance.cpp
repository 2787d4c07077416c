// Name validation against a name table, with the closest entry for a name that is not in it.
//
// Distance. The Levenshtein edit distance (insertion, deletion, substitution: 1 each), computed
// on the stack with no heap at all, exact whenever the shorter of the two strings has at most
// kRowChars characters and the other is not longer by more than kRowChars (see below for the
// bounds used beyond). A name of at most 64 characters (every real one) is measured a machine
// word at a time: a bit per character of the name, one step per character of the entry
// (Myers' bit-vector method); longer ones by two rows of the classic table.
//
// When both are longer than kRowChars, they are cut at the same offsets into pieces of kRowChars
// characters; the pieces at equal offsets are compared exactly and their distances added, and
// the characters that the longer string has beyond the end of the shorter one are added as
// insertions. Joining the pieces' edit scripts gives an edit script of the whole strings, so
// the sum is a genuine upper bound of the distance (equal strings still give 0, and the sum is
// never below the length difference). Such names do not occur in practice; the point is only
// that any input is answered in bounded stack space.
//
// Likewise, when one string is longer than the other by more than kRowChars characters, only
// its first (shorter length + kRowChars) characters are compared and the rest are counted as
// insertions. Such a name is far from every entry anyway (its distance is at least the length
// difference); what matters is that a name of a megabyte costs a bounded amount of work per
// entry rather than its length times the entry's.
//
// Speed. A name that is in the table costs one comparison per entry and no distance. When it is
// not, an entry is only worth computing when it could be strictly closer than the best so far:
// it is skipped at once when the length difference alone (a lower bound of the distance) is not
// below that. A word-at-a-time measure costs a few instructions per character of the entry; the
// table rows skip the start and end the two strings share, compute only a band of each row
// around the diagonal that can still end below the best (about that many cells per row,
// whatever the lengths), and stop as soon as no cell of a row can.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <propqos/sys/Strings.h>

namespace {

constexpr size_t kRowChars = 256;

inline unsigned char lower(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

inline bool sameChar(char a, char b, bool caseSensitive)
{
    const auto ua = static_cast<unsigned char>(a);
    const auto ub = static_cast<unsigned char>(b);
    return caseSensitive ? ua == ub : lower(ua) == lower(ub);
}

inline bool sameName(const char *a, const char *b, bool caseSensitive)
{
    return caseSensitive ? std::strcmp(a, b) == 0 : VorlString_iCompare(a, b) == 0;
}

// Exact distance of `longer` (at most 2 * kRowChars characters) and `shorter` (at most kRowChars,
// and not longer than `longer`), or any value not below `budget` once it is certain that the
// distance is not below it.
//
// A start and an end the two share cost nothing and are left out (names of one family share
// long prefixes). Rows then run over the shorter rest, and only a band of each row is computed:
// a cell (i, j) can lie on a path that ends below the budget only if its own cost plus the length
// difference still to make up, |(longerLength - j) - (shorterLength - i)|, is below the budget;
// as a cell costs at least |i - j|, that confines j to a band of about `budget` cells around the
// diagonal that leads to the last cell. Cells outside the band count as `budget` (what is
// computed from them is then never below the budget, while every path that stays below it runs
// inside the band, where its cells are exact). A row is abandoned when no cell of its band can
// still end below the budget.
size_t rowDistance(const char *longer, size_t longerLength, const char *shorter,
                   size_t shorterLength, size_t budget, bool caseSensitive)
{
    const size_t excess = longerLength - shorterLength;
    if (excess >= budget) {
        return budget;
    }
    while (shorterLength > 0 && sameChar(*longer, *shorter, caseSensitive)) {
        ++longer, ++shorter, --longerLength, --shorterLength;
    }
    while (shorterLength > 0 &&
           sameChar(longer[longerLength - 1], shorter[shorterLength - 1], caseSensitive)) {
        --longerLength, --shorterLength;
    }
    if (shorterLength == 0) {
        return excess;
    }
    // Within the band: j - i <= above, i - j <= below.
    const size_t above = (budget + excess - 1) / 2;
    const size_t below = (budget - excess - 1) / 2;
    size_t rows[2][2 * kRowChars + 2];
    size_t *previous = rows[0];
    size_t *current = rows[1];
    const size_t firstEnd = above < longerLength ? above : longerLength;
    for (size_t j = 0; j <= firstEnd; ++j) {
        previous[j] = j;
    }
    previous[firstEnd + 1] = budget;
    for (size_t i = 1; i <= shorterLength; ++i) {
        const size_t from = i > below ? i - below : 0;
        if (from > longerLength) {
            return budget;
        }
        const size_t to = i + above < longerLength ? i + above : longerLength;
        // The least any path through this row can end with: a cell's cost plus the length
        // difference of what follows it.
        const size_t restShorter = shorterLength - i;
        size_t rowMinimum = budget;
        const auto consider = [&](size_t j, size_t cost) {
            const size_t restLonger = longerLength - j;
            const size_t bound = cost + (restLonger > restShorter ? restLonger - restShorter
                                                                  : restShorter - restLonger);
            if (bound < rowMinimum) {
                rowMinimum = bound;
            }
        };
        size_t j = from;
        if (j == 0) {
            current[0] = i;
            consider(0, i);
            j = 1;
        } else {
            current[j - 1] = budget;
        }
        const char c = shorter[i - 1];
        for (; j <= to; ++j) {
            size_t best = previous[j - 1] + (sameChar(c, longer[j - 1], caseSensitive) ? 0 : 1);
            if (previous[j] + 1 < best) {
                best = previous[j] + 1;
            }
            if (current[j - 1] + 1 < best) {
                best = current[j - 1] + 1;
            }
            current[j] = best;
            consider(j, best);
        }
        current[to + 1] = budget;
        if (rowMinimum >= budget) {
            return budget;
        }
        size_t *swap = previous;
        previous = current;
        current = swap;
    }
    return previous[longerLength];
}

// The distance as described at the top of the file, or a value not below `budget` as soon as
// the result is known not to be below it.
size_t boundedDistance(const char *a, size_t aLength, const char *b, size_t bLength,
                       size_t budget, bool caseSensitive)
{
    if (aLength < bLength) {
        const char *t = a;
        a = b;
        b = t;
        size_t n = aLength;
        aLength = bLength;
        bLength = n;
    }
    // From here `a` is the longer one.
    if (aLength - bLength > kRowChars) {
        const size_t compared = bLength + kRowChars;
        const size_t inserted = aLength - compared;
        if (inserted >= budget) {
            return budget;
        }
        return inserted + boundedDistance(a, compared, b, bLength, budget - inserted, caseSensitive);
    }
    if (bLength <= kRowChars) {
        return rowDistance(a, aLength, b, bLength, budget, caseSensitive);
    }
    size_t total = 0;
    size_t offset = 0;
    for (; offset < bLength; offset += kRowChars) {
        size_t bPiece = bLength - offset < kRowChars ? bLength - offset : kRowChars;
        size_t aPiece = aLength - offset < kRowChars ? aLength - offset : kRowChars;
        // aPiece >= bPiece because a is at least as long as b.
        total += rowDistance(a + offset, aPiece, b + offset, bPiece, budget - total, caseSensitive);
        if (total >= budget) {
            return budget;
        }
    }
    return total + (aLength > offset ? aLength - offset : 0);
}

// The characters of a name of at most 64, as one bit mask per byte value: bit k of eq[c] is set
// when character k of the name is c (either letter case when case does not count).
struct NameMasks {
    uint64_t eq[256];
    size_t length;
};

void buildMasks(const char *name, size_t length, bool caseSensitive, NameMasks &masks)
{
    std::memset(masks.eq, 0, sizeof masks.eq);
    masks.length = length;
    for (size_t k = 0; k < length; ++k) {
        const auto c = static_cast<unsigned char>(name[k]);
        const uint64_t bit = uint64_t{1} << k;
        masks.eq[c] |= bit;
        if (!caseSensitive) {
            const unsigned char l = lower(c);
            masks.eq[l] |= bit;
            if (l >= 'a' && l <= 'z') {
                masks.eq[l - ('a' - 'A')] |= bit;
            }
        }
    }
}

// Exact distance of the masked name (1 to 64 characters) and `text`, or a value not below
// `budget` once the distance is certain not to be below it. Each step takes one character of
// the text and updates a column of the table as bit vectors of its vertical differences; `score`
// follows the column's last cell, which the remaining characters can lower by at most one each.
size_t wordDistance(const NameMasks &masks, const char *text, size_t textLength, size_t budget)
{
    const uint64_t last = uint64_t{1} << (masks.length - 1);
    uint64_t positive = ~uint64_t{0};
    uint64_t negative = 0;
    size_t score = masks.length;
    for (size_t j = 0; j < textLength; ++j) {
        const uint64_t eq = masks.eq[static_cast<unsigned char>(text[j])];
        const uint64_t xv = eq | negative;
        const uint64_t xh = (((eq & positive) + positive) ^ positive) | eq;
        uint64_t hp = negative | ~(xh | positive);
        uint64_t hn = positive & xh;
        if ((hp & last) != 0) {
            ++score;
        } else if ((hn & last) != 0) {
            --score;
        }
        if (score >= budget + (textLength - j - 1)) {
            return budget;
        }
        // The first row's cells grow by one per character: a positive difference enters.
        hp = (hp << 1) | 1;
        hn <<= 1;
        positive = hn | ~(xv | hp);
        negative = hp & xv;
    }
    return score;
}

}  // namespace

extern "C" {

int VorlString_validateName(DDS_Long *index, DDS_Long *distance, const char *name,
                            const char *const *validNames, int caseSensitive)
{
    if (index == nullptr || distance == nullptr || name == nullptr || validNames == nullptr) {
        return 0;
    }
    const bool withCase = caseSensitive != 0;
    for (const char *const *entry = validNames; (*entry)[0] != '\0'; ++entry) {
        if (sameName(name, *entry, withCase)) {
            return 1;
        }
    }
    if (*distance <= 0) {
        return 0;   // nothing can be strictly closer
    }

    const size_t nameLength = std::strlen(name);
    NameMasks masks;
    const bool byWord = nameLength >= 1 && nameLength <= 64;
    if (byWord) {
        buildMasks(name, nameLength, withCase, masks);
    }
    size_t best = static_cast<size_t>(*distance);
    DDS_Long bestIndex = -1;
    for (DDS_Long i = 0; validNames[i][0] != '\0'; ++i) {
        const size_t entryLength = std::strlen(validNames[i]);
        const size_t lengthDifference =
            nameLength > entryLength ? nameLength - entryLength : entryLength - nameLength;
        if (lengthDifference >= best) {
            continue;
        }
        // Word at a time where the rows would be exact too (an entry far longer than the name
        // is measured with the rows' bound).
        const size_t d = byWord && entryLength <= nameLength + kRowChars
                             ? wordDistance(masks, validNames[i], entryLength, best)
                             : boundedDistance(name, nameLength, validNames[i], entryLength, best,
                                               withCase);
        if (d < best) {
            best = d;
            bestIndex = i;
        }
    }
    if (bestIndex >= 0) {
        *index = bestIndex;
        *distance = static_cast<DDS_Long>(best);
    }
    return 0;
}

}  // extern "C"
