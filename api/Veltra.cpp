// The seven exports. Each is a thin shell: its null checks, the engine entered (a call from a
// second thread while one runs is refused), the texts wrapped into Strings, one engine call, 0.
// Every body runs inside Guard, which turns any exception into -1 and prints nothing: the raising
// code has already written the reason to standard error.
#include "api/Veltra.h"

#include <new>

#include "engine/FieldClassifier.h"

using veltra::EngineCall;
using veltra::FieldClassifier;
using veltra::String;

namespace {

template <class Body>
int32_t Guard(Body&& body) noexcept
{
    try {
        return body();
    } catch (...) {
        return -1;
    }
}

FieldClassifier* ToEngine(BayesianEngineHandle handle)
{
    return reinterpret_cast<FieldClassifier*>(handle);
}
BayesianEngineHandle ToHandle(FieldClassifier* engine)
{
    return reinterpret_cast<BayesianEngineHandle>(engine);
}

}  // namespace

extern "C" {

VELTRA_API int32_t VELTRA_CALL CreateBayesianEngine(BayesianEngineHandle* engine)
{
    return Guard([&] {
        // An allocation that yields no object stores a null handle.
        *engine = ToHandle(new (std::nothrow) FieldClassifier());
        return 0;
    });
}

VELTRA_API int32_t VELTRA_CALL DestroyBayesianEngine(BayesianEngineHandle* engine)
{
    return Guard([&] {
        // Deliberately not reset to null: hosts own the variable and must not reuse it. An engine
        // inside a call on another thread is refused rather than deleted under it.
        if (!*engine) return 0;
        ToEngine(*engine)->EnterCall();
        delete ToEngine(*engine);
        return 0;
    });
}

VELTRA_API int32_t VELTRA_CALL InitializeThruFile(BayesianEngineHandle engine, const char* path)
{
    if (!engine || !path) return -1;
    return Guard([&] {
        EngineCall call(*ToEngine(engine));
        ToEngine(engine)->InitializeThruFile(String(path));
        return 0;
    });
}

VELTRA_API int32_t VELTRA_CALL InitializeThruParam(BayesianEngineHandle engine, const char* text)
{
    if (!engine || !text) return -1;
    return Guard([&] {
        EngineCall call(*ToEngine(engine));
        // Deliberately straight to the network's reader, bypassing the engine's file path.
        String description(text);
        ToEngine(engine)->GetNetwork().Load(description);
        return 0;
    });
}

VELTRA_API int32_t VELTRA_CALL Train(BayesianEngineHandle engine, const char* networkFile,
                                     const char* sampleFile, const char* outputFile)
{
    // Deliberately unchecked: null names become empty names, which fail to open.
    return Guard([&] {
        EngineCall call(*ToEngine(engine));
        ToEngine(engine)->Train(String(networkFile), String(sampleFile), String(outputFile), false);
        return 0;
    });
}

VELTRA_API int32_t VELTRA_CALL Analyze(BayesianEngineHandle engine, const char* testResults, char* categories,
                                       double* probabilities, int32_t* count)
{
    if (!engine || !testResults || !categories || !probabilities || !count) return -1;
    return Guard([&] {
        EngineCall call(*ToEngine(engine));
        return ToEngine(engine)->AnalyzeInto(testResults, categories, probabilities, count);
    });
}

VELTRA_API int32_t VELTRA_CALL AnalyzeFile(BayesianEngineHandle engine, const char* inputFile,
                                           const char* outputFile)
{
    // Deliberately unchecked, like Train.
    return Guard([&] {
        EngineCall call(*ToEngine(engine));
        ToEngine(engine)->AnalyzeFile(String(inputFile), String(outputFile));
        return 0;
    });
}

}  // extern "C"
