#include "support/TestSupport.h"

#include <algorithm>
#include <cctype>
#include <sstream>


namespace propqos_test {

LogCapture::LogCapture()
    : savedInstrumentation_(DDSLog_g_instrumentationMask), savedSubmodule_(DDSLog_g_submoduleMask)
{
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
    DDSLog_g_submoduleMask = 0xFFFFFFFFu;
    ZynLog_g_detectPrecondition = 1;
    ZynLog_g_preconditionDetected = 0;
    ZynLog_setSink(&LogCapture::sink, this);
}

LogCapture::~LogCapture()
{
    ZynLog_setSink(nullptr, nullptr);
    DDSLog_g_instrumentationMask = savedInstrumentation_;
    DDSLog_g_submoduleMask = savedSubmodule_;
}

void LogCapture::sink(const ZynLogEntry *entry, void *self)
{
    CapturedEntry captured;
    captured.level = entry->level;
    captured.function = entry->function != nullptr ? entry->function : "";
    captured.templateId = entry->templateId;
    for (int i = 0; i < entry->argCount; ++i) {
        captured.args.emplace_back(entry->args[i]);
    }
    captured.message = entry->message;
    static_cast<LogCapture *>(self)->entries_.push_back(std::move(captured));
}

size_t LogCapture::count(const std::string &templateId) const
{
    size_t n = 0;
    for (const auto &entry : entries_) {
        n += entry.templateId == templateId ? 1 : 0;
    }
    return n;
}

bool LogCapture::contains(int level, const std::string &templateId,
                          std::initializer_list<std::string> args) const
{
    std::vector<std::string> wanted(args);
    for (const auto &entry : entries_) {
        if (entry.level == level && entry.templateId == templateId && entry.args == wanted) {
            return true;
        }
    }
    return false;
}

std::string LogCapture::dump() const
{
    std::ostringstream out;
    for (const auto &entry : entries_) {
        out << entry.level << " " << entry.function << " " << entry.templateId;
        for (const auto &arg : entry.args) {
            out << " [" << arg << "]";
        }
        out << "\n";
    }
    return out.str();
}

void ModuleTest::SetUp() { outstandingAtStart_ = ZynHeap_getOutstanding(); }

void ModuleTest::TearDown()
{
    ZynHeap_setFailAfter(-1);
    EXPECT_EQ(ZynHeap_getOutstanding(), outstandingAtStart_) << "the test leaked module memory";
}

void ModuleTest::expectOnlyEntry(int level, const std::string &templateId,
                                 std::initializer_list<std::string> args)
{
    ASSERT_EQ(log.size(), 1u) << log.dump();
    const CapturedEntry &entry = log.entries().front();
    EXPECT_EQ(entry.level, level);
    EXPECT_EQ(entry.templateId, templateId);
    EXPECT_EQ(entry.args, std::vector<std::string>(args)) << log.dump();
}

void ModuleTest::expectPrecondition(const std::string &test)
{
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                             {"\"" + test + "\""}))
        << log.dump();
    EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
}

std::string describe(const DDS_PropertyQosPolicy &policy)
{
    std::string out;
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&policy.value); ++i) {
        const DDS_Property_t *p = DDS_PropertySeq_get_reference(&policy.value, i);
        out += std::string(p->name) + "=" + p->value + (p->propagate ? "+" : "") + ";";
    }
    return out;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

ScopedPolicy::ScopedPolicy(std::initializer_list<std::pair<const char *, const char *>> properties)
{
    for (const auto &property : properties) {
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, property.first, property.second,
                                                           DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }
}

}  // namespace propqos_test
