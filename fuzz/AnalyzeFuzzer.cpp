// Classifies arbitrary test-result strings and sample lines with a fixed, valid network: every
// input either classifies (probabilities in [0, 1], most probable first) or raises cleanly.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "engine/FieldClassifier.h"
#include "fuzz/FuzzSupport.h"

using namespace veltra;

namespace {

const char* const kNetwork =
    "H = Category \"a,b,c\"\n"
    "T1 = Has digits \"y,n\"\n"
    "T2 = Length class \"s,m,l\"\n"
    "P(H=a) = 0.5\nP(H=b) = 0.3\nP(H=c) = 0.2\n"
    "P(T1=y|H=a) = 0.9\nP(T1=n|H=a) = 0.1\nP(T1=y|H=b) = 0.5\nP(T1=n|H=b) = 0.5\n"
    "P(T1=y|H=c) = 0\nP(T1=n|H=c) = 1\n"
    "P(T2=s|H=a) = 0.2\nP(T2=m|H=a) = 0.3\nP(T2=l|H=a) = 0.5\n"
    "P(T2=s|H=b) = 0.6\nP(T2=m|H=b) = 0.3\nP(T2=l|H=b) = 0.1\n"
    "P(T2=s|H=c) = 0.3\nP(T2=m|H=c) = 0.3\nP(T2=l|H=c) = 0.4\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > fuzz::kMaxInput) return 0;
    std::string input(reinterpret_cast<const char*>(data), size);
    fuzz::Silence silence;
    FieldClassifier engine;
    engine.GetNetwork().Load(String(kNetwork));
    try {
        AutoPtr<DubiousDataList> result(engine.Analyze(String(input), false));
        Ptr<Vector<String>> keys = result->GetKeys();
        if (keys->Size() != 3) fuzz::Fail("three states expected");
        double previous = 2.0;
        for (int32_t i = 0; i < keys->Size(); ++i) {
            double p = result->Get((*keys)[i])->m_figure;
            if (!(p >= 0.0 && p <= 1.0)) fuzz::Fail("probability outside [0, 1]");
            if (p > previous) fuzz::Fail("not most probable first");
            previous = p;
        }
    } catch (TrapException&) {
    }
    int32_t sampleLists = 0;
    try {
        engine.ProcessSampleLine(String(input), &sampleLists);
    } catch (TrapException&) {
    }
    return 0;
}
