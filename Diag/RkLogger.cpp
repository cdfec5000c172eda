#include "Diag/RkLogger.h"

#include <map>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "Diag/RkStandardErrorSink.h"

namespace kstr::diag {

/// All nodes, the levels that were set, and the sink.
class RkLogger::Registry {
public:
    /// Never destroyed: static objects and threads may log until the very end of the process.
    static Registry& Itself() {
        static auto& registry = *new Registry;
        return registry;
    }

    const Node& Find(std::string_view name) {
        {
            const std::shared_lock guard(m_lock);
            if (const auto found = m_nodes.find(name); found != m_nodes.end())
                return found->second;
        }
        const std::unique_lock guard(m_lock);
        return m_nodes.try_emplace(std::string(name), name, LevelFor(name)).first->second;
    }

    void SetLevel(const std::string& name, RkLevel level) {
        const std::unique_lock guard(m_lock);
        m_levels[name] = level;
        for (auto& [nodeName, node] : m_nodes)
            node.level.store(LevelFor(nodeName), std::memory_order_relaxed);
    }

    void SetSink(std::shared_ptr<RkLogSink> sink) {
        if (!sink)
            sink = std::make_shared<RkStandardErrorSink>();
        const std::unique_lock guard(m_lock);
        m_sink.swap(sink);  // the old one, if nobody writes to it, ends after the lock
    }

    std::shared_ptr<RkLogSink> GetSink() {
        const std::shared_lock guard(m_lock);
        return m_sink;
    }

private:
    /// Lets the table be asked for a name that is not in a std::string.
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    /// @return what is set for `name` or the nearest parent; the root always has a level. Under m_lock.
    int LevelFor(std::string_view name) const {
        for (;;) {
            if (const auto found = m_levels.find(name); found != m_levels.end())
                return found->second;
            const auto dot = name.rfind('.');
            name = name.substr(0, dot == std::string_view::npos ? 0 : dot);
        }
    }

    std::shared_mutex m_lock;                                              ///< guards all that follows
    std::unordered_map<std::string, Node, Hash, std::equal_to<>> m_nodes;  ///< grows only; nodes stay where they are
    std::map<std::string, int, std::less<>> m_levels{{"", LV_WARN}};
    std::shared_ptr<RkLogSink> m_sink = std::make_shared<RkStandardErrorSink>();
};

RkLogger::RkLogger(const std::string& name) : m_node(&Registry::Itself().Find(name)) {}

RkLogger::RkLogger(const char* name) : m_node(&Registry::Itself().Find(name)) {}

void RkLogger::setLevel(const std::string& name, RkLevel level) { Registry::Itself().SetLevel(name, level); }

void RkLogger::setSink(std::shared_ptr<RkLogSink> sink) { Registry::Itself().SetSink(std::move(sink)); }

void RkLogger::write(const RkLogRecord& record) { Registry::Itself().GetSink()->write(record); }

}  // namespace kstr::diag
