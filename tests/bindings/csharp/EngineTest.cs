// Tests of the C# binding against the built library. Every probability is compared, to the bit,
// with what ReferenceHost (a C host of the same library) gets for the same inputs. Prints one
// line per failed check and a summary; exits 1 on any failure.
// Usage: mono EngineTest.exe SOURCE_DIR WORK_DIR REFERENCE_HOST
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Globalization;
using System.IO;
using System.Linq;
using System.Text;
using Veltra;

static class EngineTest
{
    static int s_failures;
    static string s_work, s_reference;

    static void Check(bool ok, string what)
    {
        if (ok) return;
        Console.WriteLine("FAILED: " + what);
        ++s_failures;
    }

    static string Bits(double probability)
    {
        return BitConverter.DoubleToInt64Bits(probability).ToString("x16");
    }

    // ReferenceHost's line for each input: the input, then state and probability bits, or -1.
    static string[] Reference(string network, IList<string> inputs)
    {
        var start = new ProcessStartInfo(s_reference, "\"" + network + "\"") {
            UseShellExecute = false, RedirectStandardInput = true, RedirectStandardOutput = true
        };
        using (var process = Process.Start(start)) {
            foreach (string input in inputs) process.StandardInput.Write(input + "\n");
            process.StandardInput.Close();
            string output = process.StandardOutput.ReadToEnd();
            process.WaitForExit();
            Check(process.ExitCode == 0, "ReferenceHost " + network);
            return output.Split(new[] { '\n' }, StringSplitOptions.RemoveEmptyEntries);
        }
    }

    static string BindingLine(Engine engine, string results)
    {
        try {
            var entries = engine.Classify(results).Select(e => "\t" + e.State + "\t" + Bits(e.Probability));
            return results + string.Concat(entries);
        } catch (VeltraException e) {
            Check(e.Call == "Analyze", "the failed call is named: " + e.Message);
            return results + "\t-1";
        }
    }

    // A description with `count` two-character states and one test, priors rising with the index.
    static string ManyStates(int count)
    {
        var names = Enumerable.Range(0, count).Select(i => "" + (char)('A' + i / 26) + (char)('a' + i % 26))
                        .ToList();
        double total = count * (count + 1) / 2;
        var text = new StringBuilder("H = Many \"" + string.Join(",", names) + "\"\nT = Even \"x,y\"\n");
        for (int i = 0; i < count; ++i) {
            double x = (i % 7 + 1) / 8.0;
            text.AppendFormat(CultureInfo.InvariantCulture,
                              "P(H={0}) = {1:R}\nP(T=x|H={0}) = {2:R}\nP(T=y|H={0}) = {3:R}\n", names[i],
                              (i + 1) / total, x, 1 - x);
        }
        return text.ToString();
    }

    static void ProbabilitiesEqualTheCApi(string source)
    {
        string three = Path.Combine(source, "tests/data/three-states.net");
        string fields = Path.Combine(source, "examples/fields");
        string trained = Path.Combine(s_work, "trained.txt"), many = Path.Combine(s_work, "many.net");
        using (var engine = new Engine())
            engine.Train(Path.Combine(fields, "network.txt"), Path.Combine(fields, "train.txt"), trained);
        File.WriteAllText(many, ManyStates(300));

        string[] values = { "nfma", "nshdcb", "smelx", "uldo", "ultm", "0123", "n2345", "yn" };
        var random = new Random(7);
        var fieldInputs = Enumerable.Range(0, 400).Select(
            _ => string.Concat(values.Select(v => (v + "-")[random.Next(v.Length + 1)]))).ToList();
        fieldInputs.AddRange(new[] { "msld-32n", "nbxut0nn", "msld-32", "msld-32nn" });
        var cases = new[] {  // network, inputs (including some that do not classify)
            Tuple.Create(three, (IList<string>)new[] { "a.b-c", "abab", "----", "a.b.a.c", "abc", "abax", "" }),
            Tuple.Create(trained, (IList<string>)fieldInputs),
            // More states than 256, the most a network of one-character states could have.
            Tuple.Create(many, (IList<string>)new[] { "x", "y", "-", "z" }),
        };
        foreach (var c in cases) {
            string[] expected = Reference(c.Item1, c.Item2);
            var loads = new[] {
                Tuple.Create("FromFile", (Func<Engine>)(() => Engine.FromFile(c.Item1))),
                Tuple.Create("FromText", (Func<Engine>)(() => Engine.FromText(File.ReadAllText(c.Item1)))),
            };
            foreach (var load in loads) {
                using (var engine = load.Item2()) {
                    string[] got = c.Item2.Select(results => BindingLine(engine, results)).ToArray();
                    string first = got.Zip(expected, (g, e) => g == e ? "" : g + " != " + e)
                                       .FirstOrDefault(d => d != "");
                    string where = Path.GetFileName(c.Item1) + ", " + load.Item1;
                    Check(got.SequenceEqual(expected), where + ": " + first);
                }
            }
        }
    }

    static void Failures(string source)
    {
        string three = Path.Combine(source, "tests/data/three-states.net");
        string missing = Path.Combine(s_work, "missing.txt"), output = Path.Combine(s_work, "out.txt");
        var disposed = Engine.FromFile(three);
        disposed.Dispose();
        disposed.Dispose();  // again: nothing happens
        Func<string, Action, Type, string, Tuple<string, Action, Type, string>> row = Tuple.Create;
        Type failure = typeof(VeltraException), gone = typeof(ObjectDisposedException);
        var rows = new[] {  // name, action, the exception's type, the call it names
            row("missing network file", () => Engine.FromFile(missing), failure, "InitializeThruFile"),
            row("faulty description", () => Engine.FromText("H = Kind \"d,d\"\n"), failure, "InitializeThruParam"),
            row("no network", () => new Engine().Classify("ab"), failure, "Analyze"),
            row("missing samples", () => new Engine().Train(three, missing, output), failure, "Train"),
            row("missing input", () => Engine.FromFile(three).Evaluate(missing, output), failure, "AnalyzeFile"),
            row("classify when disposed", () => disposed.Classify("abab"), gone, ""),
            row("train when disposed", () => disposed.Train(three, three, output), gone, ""),
            row("evaluate when disposed", () => disposed.Evaluate(three, output), gone, ""),
            row("null results", () => Engine.FromFile(three).Classify(null), typeof(ArgumentNullException), ""),
            row("NUL in results", () => Engine.FromFile(three).Classify("ab\0ab"), typeof(ArgumentException), ""),
        };
        foreach (var r in rows) {
            Exception caught = null;
            try {
                r.Item2();
            } catch (Exception e) {
                caught = e;
            }
            Check(caught != null && caught.GetType() == r.Item3,
                  r.Item1 + ": " + (caught == null ? "nothing thrown" : caught.ToString()));
            var failed = caught as VeltraException;
            if (failed != null)
                Check(failed.Call == r.Item4 && failed.Message.StartsWith(r.Item4 + ": "),
                      r.Item1 + ": " + failed.Message);
        }
    }

    static void Evaluate(string source)
    {
        string blank = Path.Combine(s_work, "blank.txt"), output = Path.Combine(s_work, "evaluated.txt");
        File.WriteAllText(blank, "# no test lines\n");
        string cli = Path.Combine(source, "tests/cli/data");
        using (var engine = Engine.FromFile(Path.Combine(cli, "trained.txt"))) {
            double accuracy = engine.Evaluate(Path.Combine(cli, "eval.txt"), output);
            Check(Bits(accuracy) == Bits(2 * 100.0 / 3), "accuracy " + accuracy.ToString("R"));
            Check(File.ReadAllText(output).Contains(";Accuracy: 66.67 %\n"), "the written accuracy");
            Check(double.IsNaN(engine.Evaluate(blank, output)), "no test lines: not a number");
        }
    }

    static int Main(string[] args)
    {
        s_work = args[1];
        s_reference = args[2];
        ProbabilitiesEqualTheCApi(args[0]);
        Failures(args[0]);
        Evaluate(args[0]);
        Console.WriteLine("EngineTest: {0} failed checks", s_failures);
        return s_failures == 0 ? 0 : 1;
    }
}
