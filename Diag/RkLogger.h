#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "Base/QorBaseExport.h"
#include "Diag/RkLevel.h"
#include "Diag/RkLogSink.h"

namespace kstr::diag {

/// A named source of log lines. Names are dotted paths: a level set for "Qor.Network" holds for "Qor.Network.Network.X"
/// unless a nearer name has one of its own. The root's level is LV_WARN.
///
/// Loggers of equal names share one node, looked up once in the constructor; nodes live for ever. All operations are safe
/// from any thread.
class QOR_BASE_EXPORT RkLogger {
public:
    /// @param name  dotted name; empty is the root
    explicit RkLogger(const std::string& name);
    explicit RkLogger(const char* name);  ///< the same without a copy of the name

    /// Costs one atomic load.
    bool isEnabled(RkLevel level) const { return level >= m_node->level.load(std::memory_order_relaxed); }

    const std::string& getName() const { return m_node->name; }

    /// @param name  dotted name; empty is the root
    static void setLevel(const std::string& name, RkLevel level);

    /// @param sink  takes all later lines; null: standard error, as at first
    static void setSink(std::shared_ptr<RkLogSink> sink);

private:
    friend class RkLogStream;

    struct Node {
        Node(std::string_view nodeName, int levelInForce) : name(nodeName), level(levelInForce) {}

        const std::string name;
        std::atomic<int> level;  ///< the one in force: its own or the nearest parent's
    };
    class Registry;

    /// Hands a record to the sink; what the sink throws comes through.
    static void write(const RkLogRecord& record);

    const Node* m_node;
};

}  // namespace kstr::diag
