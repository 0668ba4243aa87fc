#include "bench/Model.h"

#include <cstdio>
#include <numeric>

namespace bench {

namespace {

constexpr double kNoResult = 0.05;
constexpr double kRare = 1e-6;

double Uniform(std::mt19937& random)
{
    return std::generate_canonical<double, 32>(random);
}

char StateName(int s)
{
    return static_cast<char>('A' + s);
}

char ValueName(int v)
{
    return static_cast<char>('a' + v);
}

}  // namespace

Model::Model(const Size& size, uint32_t seed) : m_size(size)
{
    std::mt19937 random(seed);
    const int states = size.states, values = size.values;
    auto weight = [&](unsigned range) { return 1.0 + static_cast<double>(random() % range); };
    double total = 0.0;
    for (int s = 0; s < states; ++s) total += m_prior.emplace_back(weight(4));
    for (double& p : m_prior) p /= total;

    m_conditional.assign(static_cast<size_t>(size.tests * values * states), 0.0);
    std::vector<double> weights(static_cast<size_t>(values));
    for (int t = 0; t < size.tests; ++t) {
        for (int s = 0; s < states; ++s) {
            for (double& w : weights) w = weight(9);
            // Every fifth test has a last value that one state almost never shows.
            double rare = 0.0;
            if (t % 5 == 2 && s == (t / 5) % states) {
                rare = kRare;
                weights.back() = 0.0;
            }
            const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
            auto at = [&](int v) -> double& {
                return m_conditional[static_cast<size_t>((t * values + v) * states + s)];
            };
            for (int v = 0; v < values; ++v) at(v) = weights[static_cast<size_t>(v)] / sum * (1.0 - rare);
            if (rare > 0.0) at(values - 1) = rare;
        }
    }
}

double Model::Conditional(int test, int value, int state) const
{
    return m_conditional[static_cast<size_t>((test * m_size.values + value) * m_size.states + state)];
}

int Model::Pick(std::mt19937& random, const double* weights, int n, int stride) const
{
    double u = Uniform(random);
    for (int i = 0; i < n - 1; ++i) {
        u -= weights[i * stride];
        if (u < 0.0) return i;
    }
    return n - 1;
}

std::string Model::Description(bool probabilities) const
{
    const int states = m_size.states, values = m_size.values;
    std::string text = "# Generated network: " + std::to_string(states) + " states, " +
                       std::to_string(m_size.tests) + " tests of " + std::to_string(values) +
                       " values\nH = Category \"";
    for (int s = 0; s < states; ++s) (text += s ? "," : "") += StateName(s);
    text += "\"\n";
    for (int t = 0; t < m_size.tests; ++t) {
        text += "T" + std::to_string(t) + " = Result " + std::to_string(t) + "\"";
        for (int v = 0; v < values; ++v) (text += v ? "," : "") += ValueName(v);
        text += "\"\n";
    }
    if (!probabilities) return text;
    char line[64];
    for (int s = 0; s < states; ++s) {
        std::snprintf(line, sizeof line, "P(H=%c) = %f\n", StateName(s), m_prior[static_cast<size_t>(s)]);
        text += line;
    }
    for (int t = 0; t < m_size.tests; ++t)
        for (int v = 0; v < values; ++v)
            for (int s = 0; s < states; ++s) {
                std::snprintf(line, sizeof line, "P(T%d=%c|H=%c) = %f\n", t, ValueName(v), StateName(s),
                              Conditional(t, v, s));
                text += line;
            }
    return text;
}

std::string Model::Draw(std::mt19937& random, char* state) const
{
    const int s = Pick(random, m_prior.data(), m_size.states, 1);
    *state = StateName(s);
    std::string results(static_cast<size_t>(m_size.tests), '-');
    for (int t = 0; t < m_size.tests; ++t) {
        if (Uniform(random) < kNoResult) continue;
        const double* column = &m_conditional[static_cast<size_t>(t * m_size.values * m_size.states + s)];
        results[static_cast<size_t>(t)] = ValueName(Pick(random, column, m_size.values, m_size.states));
    }
    return results;
}

std::vector<std::string> Model::DistinctResults(uint32_t seed, size_t count,
                                                std::unordered_set<std::string>& seen) const
{
    std::mt19937 random(seed);
    std::vector<std::string> results;
    char state;
    while (results.size() < count) {
        std::string r = Draw(random, &state);
        if (seen.insert(r).second) results.push_back(std::move(r));
    }
    return results;
}

std::string Model::TestLines(uint32_t seed, int count) const
{
    std::mt19937 random(seed);
    std::string text;
    char state;
    for (int i = 0; i < count; ++i) {
        std::string results = Draw(random, &state);
        ((text += ";TESTS\t") += state) += '\t';
        (text += results) += '\n';
    }
    return text;
}

}  // namespace bench
