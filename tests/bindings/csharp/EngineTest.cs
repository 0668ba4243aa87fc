// Tests of the .NET package as a user gets it: bindings_test.sh compiles this file against the
// package's Veltra.Net.dll and runs it in the directory where it left the cases that both bindings
// are held to. For each line NAME LOAD of "cases", the network NAME.net loaded that way must answer
// every line of NAME.in with the line ReferenceHost (a C host of the same interface) wrote to
// NAME.expected, one field at a time and all at once. Then the failures with their reasons,
// cross-validation and test selection against the command (VELTRA_COMMAND), writing and cutting to
// the tests kept, evaluation, progress, messages and introspection, texts as bytes, and Dispose
// during a call.
// Prints nothing: the script holds the process's output (the library's included) to be empty.
// Stops at the first failed check, throwing an exception that names it.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Globalization;
using System.IO;
using System.Linq;
using System.Text;
using System.Text.RegularExpressions;
using System.Threading;
using Veltra;

static class EngineTest
{
    static readonly Encoding Latin1 = Encoding.GetEncoding(28591);

    static void Check(bool ok, string what)
    {
        if (!ok) throw new Exception("FAILED: " + what);
    }

    // Progress reports as a user's IProgress receives them.
    sealed class Reports : IProgress<LineProgress>
    {
        public readonly List<LineProgress> Seen = new List<LineProgress>();
        public Action First;
        public void Report(LineProgress value)
        {
            if (Seen.Count == 0 && First != null) First();
            Seen.Add(value);
        }

        // Lines done rise to the total, which stays the same.
        public bool Complete()
        {
            return Seen.Count > 0 && Seen.Last().Done == Seen[0].Total &&
                   Seen.Zip(Seen.Skip(1), (a, b) => a.Done <= b.Done && a.Total == b.Total).All(x => x);
        }
    }

    // The line ReferenceHost prints for results and their ranking (null: the field does not fit).
    static string Line(string results, IList<StateProbability> ranking)
    {
        if (ranking == null) return results + "\tclassify\n";
        return results + string.Concat(ranking.Select(
            e => "\t" + e.State + "\t" + BitConverter.DoubleToInt64Bits(e.Probability).ToString("x16"))) + "\n";
    }

    static string Classified(Engine engine, string results)
    {
        try {
            return Line(results, engine.Classify(results));
        } catch (VeltraFieldException) {
            return Line(results, null);
        }
    }

    static void Main()
    {
        Check(Engine.Version == "2.6.0" && Engine.InterfaceVersion == 2, "versions " + Engine.Version);

        var messages = new List<KeyValuePair<MessageKind, string>>();
        var trained = new Engine((kind, text) => messages.Add(new KeyValuePair<MessageKind, string>(kind, text)));
        var training = new Reports();
        Check(trained.Train("network.txt", "train.txt", "retrained.net", training) == 2000, "samples counted");
        Check(training.Complete() && training.Seen.Last().Total == 4003, "training's progress");
        Check(messages.Skip(messages.Count - 3).Select(m => m.Value).SequenceEqual(new[] {
                  "End of training.", "Number of sample lists processed: 1", "Total sample count: 2000" }) &&
              messages.Take(messages.Count - 3).All(m => m.Key == MessageKind.Warning), "training's messages");
        Check(trained.States.SequenceEqual(new[] { "d", "a", "p", "n", "i" }) && trained.Tests[2].Tag == "Length",
              "states and tests after training");
        NetworkTest cents = trained.Tests[7];
        Check(cents.Tag == "Cents" && cents.Values.SequenceEqual(new[] { "y", "n" }) &&
              cents.Description == "Last run of digits is two digits after a dot or comma: yes, no", "test 7");

        var loads = new Dictionary<string, Func<string, Engine>> {
            { "file", Engine.FromFile },
            { "text", network => Engine.FromText(File.ReadAllText(network, Latin1)) },
            { "training", network => trained },
        };
        foreach (string[] row in File.ReadAllLines("cases").Select(line => line.Split(' '))) {
            Engine engine = loads[row[1]](row[0] + ".net");
            string[] fields = File.ReadAllLines(row[0] + ".in", Latin1);
            string expected = File.ReadAllText(row[0] + ".expected", Latin1);
            Check(string.Concat(fields.Select(results => Classified(engine, results))) == expected,
                  string.Join(" ", row));
            Batch batch = engine.ClassifyMany(fields);
            Check(batch.Count == fields.Length && batch.Width == engine.States.Count, "batch size");
            var many = fields.Select((results, i) => Line(results, batch.IsOk(i) ? batch[i] : null));
            Check(string.Concat(many) == expected, string.Join(" ", row) + " many");
        }

        // Cross-validation and test selection give the command's figures on the same folds. Each row:
        // the command's arguments, what its JSON holds at a pattern, and the same numbers, in the
        // same order, from the engine's result.
        const string full = "network.txt", samples = "train.txt";
        const string validated = "\"mean_accuracy\": (\\S+), \"accuracy_deviation\": (\\S+),|" +
                                 "\"fold\": \\d+, \"lines\": (\\d+), \"right\": (\\d+)";
        const string selected = "\"test\": (null|\\d+), \"tag\": [^,]*, \"tests\": (\\d+), " +
                                "\"right\": (\\d+), \"wrong\": (\\d+), \"accuracy\": [^,]*, \"log_loss\": ([^}]*)|" +
                                "\"kept\": \\[([^\\]]*)|\"mutual_information\": ([^,]*), \"accuracy_drop\": ([^,]*), " +
                                "\"right_without\": (\\d+), \"accuracy_without\": [^,]*, \"log_loss_without\": ([^}]*)";
        var validator = new Engine();
        var verdicts = new List<FoldVerdict>();
        var validating = new Reports();
        CrossValidation first = null;
        Selection selection = null;
        var agreements = new List<Tuple<string, string, Func<string>>> {
            Tuple.Create<string, string, Func<string>>("cv --folds 5 --seed 7", validated, () => Figures(
                first = validator.CrossValidate(full, samples, 5, 7, false, validating, verdicts.Add))),
            Tuple.Create<string, string, Func<string>>("cv --folds 4 --seed 3 --stratified", validated,
                () => Figures(validator.CrossValidate(full, samples, 4, 3, stratified: true))),
            Tuple.Create<string, string, Func<string>>("select --keep 4 --folds 3", selected,
                () => Figures(selection = validator.SelectTests(full, samples, 3, keep: 4))),
            Tuple.Create<string, string, Func<string>>("select --forward --stratified --seed 9", selected,
                () => Figures(validator.SelectTests(full, samples, seed: 9, stratified: true, forward: true))),
        };
        foreach (var row in agreements) {
            string json = Command(row.Item1 + " --quiet --json figures.json " + full + " " + samples, "figures.json");
            Check(row.Item3() == Numbers(json, row.Item2), row.Item1);
        }
        // Every verdict told once, fold after fold, judged right where the command counts it right.
        Check(verdicts.Count == 2000 && verdicts.Zip(verdicts.Skip(1), (a, b) => a.Fold <= b.Fold).All(x => x) &&
              verdicts.Count(v => v.Expected.IndexOf(v.Ranking[0].State) >= 0) == first.Right.Sum() &&
              validating.Seen.Last().Done == validating.Seen.Last().Total, "the verdicts and progress of cv");
        Check(validator.States.SequenceEqual(trained.States) && validator.Tests.Count == 8, "the network kept");

        // The tests kept, written out, and the samples cut to them: the cut network trains on them.
        // (That it judges as the full one: cut_test.py.)
        validator.WriteTests(full, selection.Kept, "kept.txt");
        Check(validator.Cut("kept.txt", samples, "kept-train.txt") == 2000, "test lines cut");
        using (var kept = new Engine())
            Check(kept.Train("kept.txt", "kept-train.txt", "kept.net") == 2000 &&
                  kept.Tests.Select(t => t.Tag).SequenceEqual(selection.Kept.Select(t => trained.Tests[t].Tag)),
                  "the cut network trained");

        // Failures: the exception's type and its message (null: the runtime words it).
        var round = Engine.FromFile("round.net");
        var disposed = Engine.FromFile("round.net");
        disposed.Dispose();
        disposed.Dispose();  // again: nothing happens
        File.WriteAllText("bad.txt", ";TESTS\td\tyn\n;TESTS\tn\tyyy\n");
        const string refused = "bad.txt, line 2: Expected 2 test results but got 3";
        var failures = new List<Tuple<Action, Type, string>> {
            Tuple.Create<Action, Type, string>(() => Engine.FromFile("missing.txt"), typeof(VeltraFileException),
                "load_file: Cannot open file: missing.txt"),
            // A file name goes to the library in UTF-8 and comes back in the reason as it went.
            Tuple.Create<Action, Type, string>(() => Engine.FromFile("donn\u00e9es.txt"), typeof(VeltraFileException),
                "load_file: Cannot open file: donn\u00e9es.txt"),
            Tuple.Create<Action, Type, string>(() => Engine.FromText("H = Kind \"d,d\"\n"), typeof(VeltraException),
                "load_text: Cannot add in node duplicate value: d"),
            Tuple.Create<Action, Type, string>(() => new Engine().Train("round.net", "missing.txt", "out.txt"),
                typeof(VeltraFileException), "train: Cannot open file: missing.txt"),
            Tuple.Create<Action, Type, string>(() => round.Evaluate("bad.txt", "out.txt"), typeof(VeltraLineException),
                "evaluate: bad.txt, line 2: Expected 2 test results but got 3. Test results:\nyyy"),
            Tuple.Create<Action, Type, string>(() => round.Classify("yyy"), typeof(VeltraFieldException),
                "classify: Expected 2 test results but got 3. Test results:\nyyy"),
            Tuple.Create<Action, Type, string>(() => round.ClassifyMany(new[] { "yn", "y" }, strict: true),
                typeof(VeltraFieldException), "classify_many: Expected 2 test results but got 1. Test results:\ny"),
            Tuple.Create<Action, Type, string>(() => new Engine().CrossValidate("round.net", "bad.txt", 2),
                typeof(VeltraLineException), "cross_validate: " + refused + " Results:yyy"),
            Tuple.Create<Action, Type, string>(() => new Engine().SelectTests("round.net", "bad.txt", 2),
                typeof(VeltraLineException), "select_tests: " + refused + " Results:yyy"),
            Tuple.Create<Action, Type, string>(() => round.Cut("round.net", "bad.txt", "out.txt"),
                typeof(VeltraLineException), "cut: " + refused + ". Test results:\nyyy"),
            Tuple.Create<Action, Type, string>(() => round.WriteTests("round.net", new[] { 1, 1 }, "out.txt"),
                typeof(VeltraException), "write_tests: round.net: Test 1 is chosen twice"),
            Tuple.Create<Action, Type, string>(() => round.CrossValidate("round.net", "train.txt", 1),
                typeof(ArgumentOutOfRangeException), null),
            Tuple.Create<Action, Type, string>(() => new Engine().Classify("yn"), typeof(VeltraException),
                "classify: Network has not been initialized yet"),
            Tuple.Create<Action, Type, string>(() => disposed.Evaluate("network.txt", "out.txt"),
                typeof(ObjectDisposedException), null),
            Tuple.Create<Action, Type, string>(() => round.Classify(null), typeof(ArgumentNullException), null),
            Tuple.Create<Action, Type, string>(() => Engine.FromFile(null), typeof(ArgumentNullException), null),
            Tuple.Create<Action, Type, string>(() => round.Classify("y\0n"), typeof(ArgumentException), null),
            Tuple.Create<Action, Type, string>(() => round.Classify("y\u20ac"), typeof(ArgumentException), null),
            Tuple.Create<Action, Type, string>(() => round.ClassifyMany(new[] { "yn", null }),
                typeof(ArgumentException), null),
            Tuple.Create<Action, Type, string>(() => round.Evaluate("network\0.txt"), typeof(ArgumentException), null),
            // A callback's exception comes out of the call that made it.
            Tuple.Create<Action, Type, string>(() => round.Evaluate("decoy.txt", null, new Throwing()),
                typeof(TimeoutException), "from the progress"),
            Tuple.Create<Action, Type, string>(() => round.CrossValidate("round.net", "decoy.txt", 2,
                verdict: v => { throw new TimeoutException("from the verdict"); }), typeof(TimeoutException),
                "from the verdict"),
        };
        foreach (var failure in failures) {
            Exception caught = null;
            try {
                failure.Item1();
            } catch (Exception e) {
                caught = e;
            }
            string what = failure.Item3 ?? failure.Item2.Name;
            Check(caught != null && caught.GetType() == failure.Item2, what + ": " + caught);
            Check(failure.Item3 == null || caught.Message == failure.Item3, what + ": " + caught.Message);
        }
        var field = (VeltraException)Catch(() => round.ClassifyMany(new[] { "yn", "y" }, strict: true));
        Check(field.Call == "classify_many" && field.Line == 2 && field.File == "", "the field at fault");

        // Evaluation: copied lines that look like verdicts are no verdicts; a description has no test lines.
        Verdicts decoy = round.Evaluate("decoy.txt", "evaluated.txt");
        Check(decoy.Right == 2 && decoy.Wrong == 1 && (double)decoy == 2 * 100.0 / 3, "decoy.txt");
        Check(Verdicts.Read("evaluated.txt").Equals(decoy), "the judged copy's verdicts");
        Check(double.IsNaN(round.Evaluate("network.txt")), "network.txt");
        var evaluating = new Reports();
        Check(trained.Evaluate("eval.txt", null, evaluating).Right > 0 && evaluating.Complete(),
              "evaluation's progress");

        // Texts are bytes: a state of byte 0xE9 comes back as U+00E9 and can be given back.
        string accented = "H = Accents \"\u00e9,e\"\nT = t \"\u00e0,a\"\nP(H=\u00e9) = 0.5\nP(H=e) = 0.5\n" +
                         "P(T=\u00e0|H=\u00e9) = 0.9\nP(T=a|H=\u00e9) = 0.1\nP(T=\u00e0|H=e) = 0.2\nP(T=a|H=e) = 0.8\n";
        using (Engine accents = Engine.FromText(accented)) {
            char state = accents.Classify("\u00e0")[0].State;
            Check(state == '\u00e9' && accents.States.SequenceEqual(new[] { "\u00e9", "e" }) &&
                  accents.Tests[0].Values.SequenceEqual(new[] { "\u00e0", "a" }), "Latin-1 states");
            File.WriteAllText("accents.txt", ";TESTS\t" + state + "\t\u00e0\n", Latin1);
            Check(accents.Evaluate("accents.txt").Right == 1, "a state given back");
        }

        // Dispose from another thread waits for the evaluation running, which completes: its judged
        // copy, written at the end of the call, is there when Dispose returns.
        File.WriteAllText("long.txt", string.Concat(Enumerable.Repeat(";TESTS\td\tyn\n", 300000)));
        File.Delete("long-judged.txt");
        var started = new ManualResetEventSlim();
        var running = new Reports { First = started.Set };
        Verdicts result = default(Verdicts);
        var thread = new Thread(() => result = round.Evaluate("long.txt", "long-judged.txt", running));
        thread.Start();
        started.Wait();
        round.Dispose();
        Check(File.Exists("long-judged.txt"), "Dispose returned during the evaluation");
        thread.Join();
        Check(result.Right == 300000 && running.Complete(), "the evaluation under Dispose");
    }

    sealed class Throwing : IProgress<LineProgress>
    {
        public void Report(LineProgress value) { throw new TimeoutException("from the progress"); }
    }

    // Runs the command with `arguments`, its output held, and returns the text it wrote to `output`.
    static string Command(string arguments, string output)
    {
        var start = new ProcessStartInfo(Environment.GetEnvironmentVariable("VELTRA_COMMAND"), arguments) {
            UseShellExecute = false, RedirectStandardOutput = true, RedirectStandardError = true,
        };
        using (Process process = Process.Start(start)) {
            string said = process.StandardOutput.ReadToEnd() + process.StandardError.ReadToEnd();
            process.WaitForExit();
            Check(process.ExitCode == 0, "veltra " + arguments + ": " + said);
        }
        return File.ReadAllText(output);
    }

    // The numbers that the groups of `pattern` capture in `json`, in order (null as -1), as doubles.
    static string Numbers(string json, string pattern)
    {
        return Numbers(from Match match in Regex.Matches(json, pattern)
                       from Group captured in match.Groups.Cast<Group>().Skip(1)
                       from Match number in Regex.Matches(captured.Value, @"null|-?[\d.eE+-]+")
                       select number.Value == "null" ? -1
                                                     : double.Parse(number.Value, CultureInfo.InvariantCulture));
    }

    static string Numbers(IEnumerable<double> numbers)
    {
        return string.Join(" ", numbers.Select(n => n.ToString("R", CultureInfo.InvariantCulture)));
    }

    static string Figures(CrossValidation figures)
    {
        return Numbers(new[] { figures.Mean, figures.StandardDeviation }.Concat(
            figures.Right.SelectMany((right, f) => new double[] { right + figures.Wrong[f], right })));
    }

    static string Figures(Selection figures)
    {
        return Numbers(figures.Steps.SelectMany(s => new double[] { s.Test, s.Tests, s.Right, s.Wrong, s.LogLoss })
                           .Concat(figures.Kept.Select(t => (double)t))
                           .Concat(figures.Scores.SelectMany(s => new[] { s.MutualInformation, s.AccuracyDrop,
                                                                         s.RightWithout, s.LogLossWithout })));
    }

    static Exception Catch(Action action)
    {
        try {
            action();
        } catch (Exception e) {
            return e;
        }
        return null;
    }
}
