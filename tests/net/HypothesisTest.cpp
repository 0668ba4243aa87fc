#include <utility>

#include "net/Hypothesis.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// The states x and y, with the priors given.
void SetPriors(Hypothesis& hypothesis, double x, double y)
{
    hypothesis.AddState("x");
    hypothesis.AddState("y");
    hypothesis.SetProbability("H=x", x);
    hypothesis.SetProbability("H=y", y);
}

// The duplicate test comes before the reserved one; the range includes 0 and 1 (a refused value is
// written with "%lf" into the message); keys are exact; the priors must sum to 1 within 0.0001, and
// a hypothesis without states never does.
TEST(Hypothesis, FailuresOfStatesProbabilitiesAndSums)
{
    // clang-format off
    const Failure rows[] = {
        {[] { Hypothesis h("K"); h.AddState("-"); h.AddState("-"); }, "Value - is reserved, cannot add it in hypothesis"},
        {[] { Hypothesis h("K"); h.AddState("a"); h.AddState("a"); }, "Cannot add in node duplicate value: a"},
        {[] { Hypothesis("K").SetProbability("H=x", -0.0001); }, "Probability must be in range [0,1] but it is: -0.000100"},
        {[] { Hypothesis("K").SetProbability("H=x", 1.0001); }, "Probability must be in range [0,1] but it is: 1.000100"},
        {[] { Hypothesis h("K"); SetPriors(h, 0.5, 0.5); (void)h.GetProbability("H=X"); }, "Hypothesis does not contain state: H=X"},
        {[] { Hypothesis h("K"); SetPriors(h, 0.5, 0.4998); h.CheckProbabilities(); }, "Probabilities for hypothesis sum up to: 0.999800"},
        {[] { Hypothesis("K").CheckProbabilities(); }, "Probabilities for hypothesis sum up to: 0.000000"},
    };
    // clang-format on
    ExpectFailureMessages(rows);
    for (const auto& [x, y] : {std::pair(0.0, 1.0), std::pair(0.5, 0.49995), std::pair(0.5, 0.50005)}) {
        Hypothesis hypothesis("K");
        EXPECT_FALSE(test::Run([&] { SetPriors(hypothesis, x, y), hypothesis.CheckProbabilities(); }).raised)
            << x << " " << y;
    }
}

}  // namespace
}  // namespace veltra::test
