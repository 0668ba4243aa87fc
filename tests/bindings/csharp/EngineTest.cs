// Tests of the C# binding against the built library, run by bindings_test.sh in the directory where
// it left the cases that both bindings are held to. For each line NAME LOAD of "cases", the network
// NAME.net loaded that way must answer every line of NAME.in with the line ReferenceHost (a C host
// of the same library) wrote to NAME.expected: each state and the bits of its probability, or the
// call that failed. Stops at the first failed check, throwing an exception that names it.
using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using Veltra;

static class EngineTest
{
    static void Check(bool ok, string what)
    {
        if (!ok) throw new Exception("FAILED: " + what);
    }

    // What an action returns, or what it throws: the call a VeltraException names, or the
    // exception's type.
    static string Outcome(Func<string> action)
    {
        try {
            return action();
        } catch (Exception e) {
            return (e as VeltraException)?.Call ?? e.GetType().Name;
        }
    }

    static string Outcome(Action action) => Outcome(() => { action(); return "nothing"; });

    // The line ReferenceHost prints for results.
    static string Classified(Engine engine, string results) =>
        results + "\t" + Outcome(() => string.Join("\t", engine.Classify(results).Select(Entry))) + "\n";

    static string Entry(StateProbability entry) =>
        entry.State + "\t" + BitConverter.DoubleToInt64Bits(entry.Probability).ToString("x16");

    static void Main()
    {
        var trained = new Engine();  // which Train reloads from what it wrote
        trained.Train("network.txt", "train.txt", "retrained.net");
        var loads = new Dictionary<string, Func<string, Engine>> {
            { "file", Engine.FromFile },
            { "text", network => Engine.FromText(File.ReadAllText(network)) },
            { "training", network => trained },
        };
        foreach (string[] row in File.ReadAllLines("cases").Select(line => line.Split(' '))) {
            using (Engine engine = loads[row[1]](row[0] + ".net")) {
                var got = File.ReadAllLines(row[0] + ".in").Select(results => Classified(engine, results));
                Check(string.Concat(got) == File.ReadAllText(row[0] + ".expected"), string.Join(" ", row));
            }
        }

        var round = Engine.FromFile("round.net");
        var disposed = Engine.FromFile("round.net");
        disposed.Dispose();
        disposed.Dispose();  // again: nothing happens
        var failures = new Dictionary<string, Action> {  // the call a VeltraException names, or the exception
            { "InitializeThruFile", () => Engine.FromFile("missing.txt") },
            { "InitializeThruParam", () => Engine.FromText("H = Kind \"d,d\"\n") },
            { "Train", () => new Engine().Train("round.net", "missing.txt", "out.txt") },
            { "AnalyzeFile", () => round.Evaluate("missing.txt", "out.txt") },
            { "ObjectDisposedException", () => disposed.Evaluate("network.txt", "out.txt") },
            // A null would reach the library as a null pointer, and it would read up to a NUL only.
            { "ArgumentNullException", () => round.Classify(null) },
            { "ArgumentException", () => round.Classify("y\0n") },
        };
        foreach (var failure in failures)
            Check(Outcome(failure.Value) == failure.Key, failure.Key);
        // The share of the library's verdicts that are right: copied lines that look like verdicts are
        // no verdicts, and a network description has no test lines.
        Check(round.Evaluate("decoy.txt", "evaluated.txt").Equals(2 * 100.0 / 3), "decoy.txt");
        Check(double.IsNaN(round.Evaluate("network.txt", "evaluated.txt")), "network.txt");
    }
}
