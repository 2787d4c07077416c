// Name validation against a name table, with the closest entry for a name that is not in it.
//
// Distance. The Levenshtein edit distance (insertion, deletion, substitution: 1 each), computed
// with two rows on the stack and no heap at all. The rows run over the shorter of the two
// strings, so the result is exact whenever that one has at most kRowChars characters and the
// other is not longer by more than kRowChars (see below for the bounds used beyond).
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
// below that, and its computation is abandoned as soon as a row's minimum (which never decreases
// from one row to the next) reaches it.
#include <cstddef>
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

// Exact distance of `longer` (any length) and `shorter` (at most kRowChars characters), or any
// value not below `budget` once it is certain that the distance is not below it.
size_t rowDistance(const char *longer, size_t longerLength, const char *shorter,
                   size_t shorterLength, size_t budget, bool caseSensitive)
{
    size_t rows[2][kRowChars + 1];
    size_t *previous = rows[0];
    size_t *current = rows[1];
    for (size_t j = 0; j <= shorterLength; ++j) {
        previous[j] = j;
    }
    for (size_t i = 1; i <= longerLength; ++i) {
        current[0] = i;
        size_t rowMinimum = current[0];
        const char c = longer[i - 1];
        for (size_t j = 1; j <= shorterLength; ++j) {
            size_t best = previous[j - 1] + (sameChar(c, shorter[j - 1], caseSensitive) ? 0 : 1);
            if (previous[j] + 1 < best) {
                best = previous[j] + 1;
            }
            if (current[j - 1] + 1 < best) {
                best = current[j - 1] + 1;
            }
            current[j] = best;
            if (best < rowMinimum) {
                rowMinimum = best;
            }
        }
        if (rowMinimum >= budget) {
            return budget;
        }
        size_t *swap = previous;
        previous = current;
        current = swap;
    }
    return previous[shorterLength];
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
    size_t best = static_cast<size_t>(*distance);
    DDS_Long bestIndex = -1;
    for (DDS_Long i = 0; validNames[i][0] != '\0'; ++i) {
        const size_t entryLength = std::strlen(validNames[i]);
        const size_t lengthDifference =
            nameLength > entryLength ? nameLength - entryLength : entryLength - nameLength;
        if (lengthDifference >= best) {
            continue;
        }
        const size_t d = boundedDistance(name, nameLength, validNames[i], entryLength, best, withCase);
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
