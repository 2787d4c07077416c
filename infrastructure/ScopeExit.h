// Runs a cleanup when the scope ends, on every path out: the one guard the module's code uses
// for "released however it ends".
#ifndef PROPQOS_INFRASTRUCTURE_SCOPEEXIT_H
#define PROPQOS_INFRASTRUCTURE_SCOPEEXIT_H

#include <utility>

namespace propqos_internal {

// `ScopeExit finalize([&] { DDS_TagSeq_finalize(&map); });` The cleanup must not throw.
template <typename Cleanup>
class ScopeExit {
public:
    explicit ScopeExit(Cleanup cleanup) noexcept : cleanup_(std::move(cleanup)) {}
    ~ScopeExit() { cleanup_(); }
    ScopeExit(const ScopeExit &) = delete;
    ScopeExit &operator=(const ScopeExit &) = delete;

private:
    Cleanup cleanup_;
};

}  // namespace propqos_internal

#endif
