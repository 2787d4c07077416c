// The extraction engine, the lookups under a prefix and name validation, on arbitrary names and
// prefixes. Each output is compared with what a plain reading of the match rule selects from
// the same policy, and name validation with a reference edit distance.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace propqos_fuzz;

namespace {

// Reference edit distance (insertion, deletion, substitution, each 1).
long editDistance(std::string_view a, std::string_view b, bool caseSensitive)
{
    std::vector<long> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = long(j);
    for (size_t i = 1; i <= a.size(); ++i) {
        long diagonal = row[0];
        row[0] = long(i);
        for (size_t j = 1; j <= b.size(); ++j) {
            const bool same = caseSensitive ? a[i - 1] == b[j - 1]
                                            : asciiLower(a[i - 1]) == asciiLower(b[j - 1]);
            const long next = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
            diagonal = row[j];
            row[j] = next;
        }
    }
    return row[b.size()];
}

// The distance VorlString_validateName reports: exact while the shorter name fits one row of 256
// characters and the longer one is not more than 256 longer; beyond that the documented bound
// (the far longer name's excess counted as insertions, pieces of 256 compared pairwise).
long reportedDistance(std::string_view a, std::string_view b, bool caseSensitive)
{
    constexpr size_t kRow = 256;
    if (a.size() < b.size()) std::swap(a, b);
    if (a.size() - b.size() > kRow) {
        const size_t compared = b.size() + kRow;
        return long(a.size() - compared) + reportedDistance(a.substr(0, compared), b, caseSensitive);
    }
    if (b.size() <= kRow) return editDistance(a, b, caseSensitive);
    long total = 0;
    size_t offset = 0;
    for (; offset < b.size(); offset += kRow) {
        total += editDistance(a.substr(offset, kRow), b.substr(offset, kRow), caseSensitive);
    }
    return total + long(a.size() > offset ? a.size() - offset : 0);
}

bool equalNames(std::string_view a, std::string_view b, bool caseSensitive)
{
    return a.size() == b.size() && startsWith(a, b, !caseSensitive);
}

// Names of the policy whose name begins with `prefix`, in order.
std::vector<const DDS_Property_t *> selected(const Policy &policy, std::string_view prefix,
                                             bool ignoreCase)
{
    std::vector<const DDS_Property_t *> out;
    for (DDS_Long i = 0; i < policy.size(); ++i) {
        const DDS_Property_t &p = policy.at(i);
        if (p.name != nullptr && startsWith(p.name, prefix, ignoreCase)) out.push_back(&p);
    }
    return out;
}

void checkWholeNames(Policy &policy, const std::string &prefix)
{
    HeapBalance balance;
    const auto expected = selected(policy, prefix, false);
    Seq out;
    // Something already in the output is replaced by get and kept by append.
    FUZZ_CHECK(DDS_PropertySeq_add_element(out.get(), nullptr, "stale", "stale") == DDS_RETCODE_OK);
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_get_properties(policy.get(), out.get(), prefix.c_str()) ==
               DDS_RETCODE_OK);
    FUZZ_CHECK(out.size() == DDS_Long(expected.size()));
    for (size_t i = 0; i < expected.size(); ++i) {
        FUZZ_CHECK(std::strcmp(out.at(DDS_Long(i)).name, expected[i]->name) == 0);
        FUZZ_CHECK(std::strcmp(out.at(DDS_Long(i)).value, expected[i]->value) == 0);
        FUZZ_CHECK(out.at(DDS_Long(i)).propagate == expected[i]->propagate);
        FUZZ_CHECK(out.at(DDS_Long(i)).name != expected[i]->name);   // a deep copy
    }
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_append_properties(policy.get(), out.get(), prefix.c_str()) ==
               DDS_RETCODE_OK);
    FUZZ_CHECK(out.size() == DDS_Long(2 * expected.size()));
    for (size_t i = 0; i < expected.size(); ++i) {
        FUZZ_CHECK(std::strcmp(out.at(DDS_Long(expected.size() + i)).name, expected[i]->name) == 0);
    }

    // Into a policy: names lose the prefix and the one separator character after it.
    Policy into;
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_add_property(into.get(), "old", "old", DDS_BOOLEAN_FALSE) ==
               DDS_RETCODE_OK);
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_get_properties_into_policy(policy.get(), into.get(),
                                                                      prefix.c_str()) == DDS_RETCODE_OK);
    FUZZ_CHECK(into.size() == DDS_Long(expected.size()));
    for (size_t i = 0; i < expected.size(); ++i) {
        const std::string_view whole = expected[i]->name;
        const std::string_view rest =
            whole.size() > prefix.size() ? whole.substr(prefix.size() + 1) : std::string_view();
        FUZZ_CHECK(into.at(DDS_Long(i)).name != nullptr && rest == into.at(DDS_Long(i)).name);
        FUZZ_CHECK(std::strcmp(into.at(DDS_Long(i)).value, expected[i]->value) == 0);
    }
}

void checkWithoutPrefix(Policy &policy, const std::string &prefix, bool ignoreCase)
{
    HeapBalance balance;
    Seq out;
    const DDS_ReturnCode_t rc = DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
        policy.get(), out.get(), prefix.c_str(), ignoreCase ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE);
    std::string stripped = prefix;
    if (stripped.empty() || stripped.back() != '.') stripped += '.';
    if (stripped.size() > 1023) {
        FUZZ_CHECK(rc != DDS_RETCODE_OK);
        return;
    }
    FUZZ_CHECK(rc == DDS_RETCODE_OK);
    const auto expected = selected(policy, stripped, ignoreCase);
    FUZZ_CHECK(out.size() == DDS_Long(expected.size() + 1));
    for (size_t i = 0; i < expected.size(); ++i) {
        FUZZ_CHECK(std::string_view(expected[i]->name).substr(stripped.size()) == out.at(DDS_Long(i)).name);
        FUZZ_CHECK(std::strcmp(out.at(DDS_Long(i)).value, expected[i]->value) == 0);
    }
    const DDS_Property_t &last = out.at(DDS_Long(expected.size()));
    FUZZ_CHECK(std::strcmp(last.name, "prefix") == 0 && stripped == last.value);

    // The security plug-in's set: the same, then every "dds.sec." property whole.
    Seq trust;
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(policy.get(), trust.get(),
                                                                     prefix.c_str(), nullptr) ==
               DDS_RETCODE_OK);
    const auto security = selected(policy, "dds.sec.", false);
    FUZZ_CHECK(trust.size() == DDS_Long(selected(policy, stripped, true).size() + 1 + security.size()));
    for (size_t i = 0; i < security.size(); ++i) {
        FUZZ_CHECK(std::strcmp(trust.at(trust.size() - DDS_Long(security.size() - i)).name,
                               security[i]->name) == 0);
    }
}

void checkLookups(Policy &source, const std::string &prefix, const std::string &name)
{
    HeapBalance balance;
    // The assert and remove below change the policy: work on a copy released in this scope.
    Policy policy;
    FUZZ_CHECK(DDS_PropertyQosPolicy_copy(policy.get(), source.get()) == policy.get());
    const std::string composed = prefix + "." + name;
    const DDS_Property_t *expected = nullptr;
    for (DDS_Long i = 0; i < policy.size() && expected == nullptr; ++i) {
        if (policy.at(i).name != nullptr && composed == policy.at(i).name) expected = &policy.at(i);
    }
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(policy.get(), prefix.c_str(),
                                                                       name.c_str()) == expected);
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_lookup_property(policy.get(), composed.c_str()) == expected);
    DDS_Property_t *element = nullptr;
    const DDS_Long index =
        DDS_PropertyQosPolicyHelper_lookup_property_index(policy.get(), composed.c_str(), &element);
    FUZZ_CHECK(expected == nullptr ? index == -1 : element == expected);

    const DDS_Long before = policy.size();
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(policy.get(), prefix.c_str(),
                                                                    name.c_str(), "asserted",
                                                                    DDS_BOOLEAN_TRUE) == DDS_RETCODE_OK);
    FUZZ_CHECK(policy.size() == before + (expected == nullptr ? 1 : 0));
    const DDS_Property_t *found = DDS_PropertyQosPolicyHelper_lookup_property(policy.get(), composed.c_str());
    FUZZ_CHECK(found != nullptr && std::strcmp(found->value, "asserted") == 0);
    FUZZ_CHECK(DDS_PropertyQosPolicyHelper_remove_property(policy.get(), composed.c_str()) == DDS_RETCODE_OK);
    FUZZ_CHECK(policy.size() == before - (expected == nullptr ? 0 : 1));
}

void checkValidateName(const Policy &policy, const std::string &name, bool caseSensitive)
{
    std::vector<const char *> table;
    for (DDS_Long i = 0; i < policy.size() && table.size() < 64; ++i) {
        const char *entry = policy.at(i).name;
        if (entry != nullptr && entry[0] != '\0') table.push_back(entry);
    }
    table.push_back("");
    DDS_Long index = -5, distance = 1 << 30;
    const int valid =
        VorlString_validateName(&index, &distance, name.c_str(), table.data(), caseSensitive);
    const std::string_view n = name.c_str();
    bool present = false;
    long best = 1 << 30;
    long bestIndex = -5;
    for (size_t i = 0; i + 1 < table.size(); ++i) {
        if (equalNames(n, table[i], caseSensitive)) present = true;
    }
    FUZZ_CHECK(!!valid == present);
    if (present) {
        FUZZ_CHECK(index == -5 && distance == (1 << 30));
        return;
    }
    for (size_t i = 0; i + 1 < table.size(); ++i) {
        const long d = reportedDistance(n, table[i], caseSensitive);
        if (d < best) {
            best = d;
            bestIndex = long(i);
        }
    }
    FUZZ_CHECK(index == bestIndex && distance == (table.size() == 1 ? (1 << 30) : best));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    silenceLog();
    if (size > 16384) return 0;
    FuzzedDataProvider input(data, size);
    const std::string prefix = input.ConsumeRandomLengthString(1100);
    const std::string name = input.ConsumeRandomLengthString(200);
    const uint8_t flags = input.ConsumeIntegral<uint8_t>();
    const std::string rest = input.ConsumeRemainingBytesAsString();

    HeapBalance balance;
    Policy policy(splitLines(rest, 300));
    checkWholeNames(policy, prefix.c_str());
    checkWithoutPrefix(policy, prefix.c_str(), (flags & 1) != 0);
    if (name.size() < 100 && prefix.size() < 200) {
        checkValidateName(policy, name, (flags & 2) != 0);
    }
    checkLookups(policy, prefix.c_str(), name.c_str());
    return 0;
}
