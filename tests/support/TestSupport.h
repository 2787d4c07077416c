// Shared test support: log capture, a fixture that checks every test for leaks, fault injection.
#ifndef PROPQOS_TESTS_SUPPORT_TESTSUPPORT_H
#define PROPQOS_TESTS_SUPPORT_TESTSUPPORT_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include <propqos/PropertyQosPolicy.h>
#include <propqos/testing.h>

#include "infrastructure/PropertyQosPolicyInternal.h"

namespace propqos_test {

struct CapturedEntry {
    int level;
    std::string function;
    std::string templateId;
    std::vector<std::string> args;
    std::string message;
};

// Captures every entry written while it lives; masks set to WARNING verbosity, all submodules,
// precondition detection on and its flag cleared.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    const std::vector<CapturedEntry> &entries() const { return entries_; }
    void clear() { entries_.clear(); }
    size_t size() const { return entries_.size(); }
    // Entries with this template identifier.
    size_t count(const std::string &templateId) const;
    // True when an entry has exactly this level, identifier and arguments.
    bool contains(int level, const std::string &templateId,
                  std::initializer_list<std::string> args) const;
    // The text of every entry, one per line, for failure messages.
    std::string dump() const;

private:
    static void sink(const ZynLogEntry *entry, void *self);
    std::vector<CapturedEntry> entries_;
    unsigned int savedInstrumentation_;
    unsigned int savedSubmodule_;
};

// Fixture: a fresh log capture per test and a leak check of the module's heap at the end.
class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // The one entry captured, asserted to be alone, with its level, identifier and arguments.
    void expectOnlyEntry(int level, const std::string &templateId,
                         std::initializer_list<std::string> args);
    // A precondition entry naming `test` (given without quotes) and the flag raised.
    void expectPrecondition(const std::string &test);
    LogCapture log;

private:
    long outstandingAtStart_ = 0;
};

// Makes allocations fail after `k` successful ones while it lives.
class FailAfter {
public:
    explicit FailAfter(long k) { ZynHeap_setFailAfter(k); }
    ~FailAfter() { ZynHeap_setFailAfter(-1); }
    FailAfter(const FailAfter &) = delete;
    FailAfter &operator=(const FailAfter &) = delete;
};

// "name=value;" for each property, with "+" after the value of one marked to propagate.
std::string describe(const DDS_PropertyQosPolicy &policy);
std::string lower(std::string text);

// A policy owned by the test, finalised on every path.
struct ScopedPolicy {
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    ScopedPolicy() = default;
    ScopedPolicy(std::initializer_list<std::pair<const char *, const char *>> properties);
    ~ScopedPolicy() { DDS_PropertyQosPolicy_finalize(&policy); }
    ScopedPolicy(const ScopedPolicy &) = delete;
    ScopedPolicy &operator=(const ScopedPolicy &) = delete;
    DDS_PropertyQosPolicy *operator&() { return &policy; }
    DDS_PropertyQosPolicy *get() { return &policy; }
    DDS_Long size() const { return DDS_PropertySeq_get_length(&policy.value); }
    const DDS_Property_t &at(DDS_Long i) const
    {
        return *DDS_PropertySeq_get_reference(&policy.value, i);
    }
};

// A property sequence owned by the test, finalised on every path.
struct ScopedSeq {
    DDS_PropertySeq seq = DDS_SEQUENCE_INITIALIZER;
    ~ScopedSeq() { DDS_PropertySeq_finalize(&seq); }
    DDS_PropertySeq *get() { return &seq; }
    DDS_Long size() const { return DDS_PropertySeq_get_length(&seq); }
    const DDS_Property_t &at(DDS_Long i) const { return *DDS_PropertySeq_get_reference(&seq, i); }
};

}  // namespace propqos_test

#endif
