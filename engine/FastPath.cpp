#include "engine/FastPath.h"

#include <climits>

namespace veltra {

FastPath::FastPath(NaiveBayesNet& network)
    : m_network(network),
      m_inference(network.GetProductCache(), NaiveBayesNet::kProductCacheSize, network.GetConfidenceCache(),
                  NaiveBayesNet::kConfidenceCacheSize)
{
}

void FastPath::SetEnabled(bool enabled)
{
    m_enabled = enabled;
    m_counters.Fold();
}

const CompiledNetwork* FastPath::Compiled()
{
    if (!m_enabled) return nullptr;
    const CompiledNetwork* compiled = m_network.GetCompiled();
    // The fields indexed by their cached levels stand for the state keys and caches they were
    // indexed with.
    if (m_changes != m_network.GetChangeCount()) {
        m_inference.NetworkChanged();
        m_changes = m_network.GetChangeCount();
    }
    return compiled;
}

bool FastPath::Decide(const char* results, size_t length, Caches caches)
{
    const CompiledNetwork* compiled = Compiled();
    if (!compiled || length > INT32_MAX) return false;
    m_caches = caches;
    return m_inference.Begin(*compiled, results, static_cast<int32_t>(length), caches == Caches::kBypassed);
}

void FastPath::Levels(double* levels)
{
    if (m_caches == Caches::kBypassed)
        m_inference.FreshLevels(levels);
    else
        m_inference.AllLevels(levels);
}

double FastPath::Level(int32_t state, const String& stateKey, const String& results, bool verbose)
{
    if (!verbose && Decide(results.c_str(), static_cast<size_t>(results.Length()), Caches::kUsed))
        return m_inference.OneLevel(state);
    return m_network.GetConfLevel(stateKey, results, verbose);
}

void FastPath::StartCounting(HashTable<Long>& countTable)
{
    if (m_enabled) m_counters.Build(m_network, countTable);
}

void FastPath::RestartCounting()
{
    if (m_enabled) m_counters.Restart();
}

}  // namespace veltra
