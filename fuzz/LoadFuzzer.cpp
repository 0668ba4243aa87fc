// Feeds arbitrary bytes to the network description reader, then classifies with whatever loaded.
// Only crashes, sanitizer reports and broken contracts count: a raised failure is a normal outcome
// but must never leave a leak report behind.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "engine/FieldClassifier.h"
#include "fuzz/FuzzSupport.h"

using namespace veltra;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > fuzz::kMaxInput) return 0;
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string report;
    {
        fuzz::Silence silence;
        {
            FieldClassifier engine;
            try {
                engine.GetNetwork().Load(String(text));
                // One result per test: every test unobserved, then every test given its first value.
                NaiveBayesNet& net = engine.GetNetwork();
                std::string unobserved(static_cast<size_t>(net.GetTestCount()), '-');
                AutoPtr<DubiousDataList> a(engine.Analyze(String(unobserved), false));
                if (a->Size() != net.GetHypothesis().GetStateCount()) fuzz::Fail("one entry per state expected");
                double sum = 0;
                Ptr<Vector<String>> keys = a->GetKeys();
                for (int32_t i = 0; i < keys->Size(); ++i) sum += a->Get((*keys)[i])->m_figure;
                if (keys->Size() > 0 && sum > 1.0000001) fuzz::Fail("posteriors sum above 1");
            } catch (TrapException&) {
            }
        }
        report = silence.Text();
    }
    // Messages echo the offending text, so only a report the input did not bring in counts.
    const char* leak = "Memory leak detected!";
    if (report.find(leak) != std::string::npos && text.find(leak) == std::string::npos)
        fuzz::Fail("leak report in ordinary use");
    return 0;
}
