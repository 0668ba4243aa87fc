// Veltra from .NET: an engine object over the host interface of api/VeltraHost.h.
//
//     using (var engine = Veltra.Engine.FromFile("trained.txt"))
//         foreach (var entry in engine.Classify("msld-32n"))
//             Console.WriteLine("{0} {1}", entry.State, entry.Probability);
//
// The native library is VeltraHost.dll on Windows and libVeltraHost.so elsewhere. The Veltra.Net
// package carries both under runtimes/<rid>/native, where the runtime finds them; otherwise the
// runtime's usual search applies (the application's directory, PATH or LD_LIBRARY_PATH). This
// assembly is Veltra.Net.dll: were it called VeltraHost.dll or Veltra.dll, Windows could take it
// for a native library.
//
// Nothing is printed, by this assembly or by the library: a failure throws a VeltraException (or
// one of its subclasses) carrying the library's reason and the file and line at fault; warnings
// and summaries reach the messages callback an engine is given; training and evaluation report
// their progress to an IProgress when asked.
//
// Texts (descriptions, test results, states, tags, values) are bytes to the library. A string
// stands for them one character per byte (Latin-1), so every state an engine returns can be given
// back to it; a character above U+00FF is refused. File names are passed as the platform passes
// narrow file names: UTF-8 on Linux (the bytes the file system stores), the ANSI code page on
// Windows, where the library opens files through the narrow (A) functions.
using System;
using System.Collections;
using System.Collections.Generic;
using System.IO;
using System.Runtime.ExceptionServices;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading;
using Microsoft.Win32.SafeHandles;

namespace Veltra
{
    /// <summary>The library refused a call. <see cref="Reason"/> is its own explanation (the text
    /// the seven exports write on standard error); <see cref="File"/> and <see cref="Line"/> name
    /// the file and line at fault, or are "" and 0; <see cref="Call"/> names the operation. The
    /// message reads "call: file, line n: reason".</summary>
    public class VeltraException : Exception
    {
        /// <summary>An exception for a refused call, its message composed of the four parts.</summary>
        /// <param name="call">The operation, for example "evaluate".</param>
        /// <param name="reason">The library's reason.</param>
        /// <param name="file">The file at fault, or "".</param>
        /// <param name="line">The line at fault (for a batch classification, the field, from 1), or 0.</param>
        public VeltraException(string call, string reason, string file, long line)
            : base(Compose(call, reason, file, line))
        {
            Call = call;
            Reason = reason;
            File = file ?? "";
            Line = line;
        }

        /// <summary>The operation that failed: load_file, load_text, classify, classify_many, train,
        /// evaluate, write_tests, cut, cross_validate or select_tests.</summary>
        public string Call { get; private set; }

        /// <summary>The library's reason, without a line end.</summary>
        public string Reason { get; private set; }

        /// <summary>The file at fault, or "" when the reason names none.</summary>
        public string File { get; private set; }

        /// <summary>The line of <see cref="File"/> at fault (for classify_many, the number of the
        /// field, from 1), or 0.</summary>
        public long Line { get; private set; }

        private static string Compose(string call, string reason, string file, long line)
        {
            // The reason often names its file already ("Cannot open file: x"): then it is not repeated.
            string where = "";
            if (!string.IsNullOrEmpty(file) && (reason ?? "").IndexOf(file, StringComparison.Ordinal) < 0)
                where = line > 0 ? file + ", line " + line + ": " : file + ": ";
            return call + ": " + where + reason;
        }
    }

    /// <summary>A file could not be opened, read or written, or may not be used as asked (an input
    /// that is no regular file, an output that would overwrite an input).</summary>
    public class VeltraFileException : VeltraException
    {
        /// <summary>An exception for a refused call, its message composed as
        /// <see cref="VeltraException"/> composes it.</summary>
        public VeltraFileException(string call, string reason, string file, long line)
            : base(call, reason, file, line) { }
    }

    /// <summary>A line of a file (a description, a sample file, an evaluation's input) does not
    /// fit the network or its format; <see cref="VeltraException.File"/> and
    /// <see cref="VeltraException.Line"/> say which.</summary>
    public class VeltraLineException : VeltraException
    {
        /// <summary>An exception for a refused call, its message composed as
        /// <see cref="VeltraException"/> composes it.</summary>
        public VeltraLineException(string call, string reason, string file, long line)
            : base(call, reason, file, line) { }
    }

    /// <summary>The test results of a field do not fit the network.</summary>
    public class VeltraFieldException : VeltraException
    {
        /// <summary>An exception for a refused call, its message composed as
        /// <see cref="VeltraException"/> composes it.</summary>
        public VeltraFieldException(string call, string reason, string file, long line)
            : base(call, reason, file, line) { }
    }

    /// <summary>The kinds of the library's messages.</summary>
    public enum MessageKind
    {
        /// <summary>Why a call fails (the call throws as well).</summary>
        Failure = 1,
        /// <summary>Training's warnings (zero counts).</summary>
        Warning = 2,
        /// <summary>A progress text; not passed on (progress comes as numbers through an IProgress).</summary>
        Progress = 4,
        /// <summary>The end of training, the accuracy of an evaluation.</summary>
        Summary = 8,
    }

    /// <summary>One state of a classification and its probability.</summary>
    public struct StateProbability
    {
        /// <summary>An entry of a ranking.</summary>
        public StateProbability(char state, double probability)
        {
            State = state;
            Probability = probability;
        }

        /// <summary>The state's character, as classification answers with it: the first byte of the
        /// state's name, as the character of the same value.</summary>
        public char State { get; private set; }

        /// <summary>The state's probability.</summary>
        public double Probability { get; private set; }
    }

    /// <summary>How far a training run or an evaluation has come: lines done of the lines in all.
    /// The last report has <see cref="Done"/> equal to <see cref="Total"/>.</summary>
    public struct LineProgress
    {
        /// <summary>A report.</summary>
        public LineProgress(long done, long total)
        {
            Done = done;
            Total = total;
        }

        /// <summary>Lines done.</summary>
        public long Done { get; private set; }

        /// <summary>Lines in all.</summary>
        public long Total { get; private set; }

        /// <summary>"done / total".</summary>
        public override string ToString() { return Done + " / " + Total; }
    }

    /// <summary>The verdicts of an evaluation: test lines judged right and judged wrong, and the
    /// accuracy. It converts to the accuracy (a double), which Evaluate used to return.</summary>
    public struct Verdicts
    {
        /// <summary>Verdicts of the given counts.</summary>
        public Verdicts(int right, int wrong)
        {
            Right = right;
            Wrong = wrong;
        }

        /// <summary>Test lines judged right.</summary>
        public int Right { get; private set; }

        /// <summary>Test lines judged wrong.</summary>
        public int Wrong { get; private set; }

        /// <summary>The share judged right, in per cent, computed as the library computes it; NaN
        /// when there were no test lines.</summary>
        public double Accuracy { get { return Right * 100.0 / (Wrong + Right); } }

        /// <summary>The accuracy in per cent.</summary>
        public static implicit operator double(Verdicts verdicts) { return verdicts.Accuracy; }

        /// <summary>The accuracy, as a double prints it.</summary>
        public override string ToString() { return Accuracy.ToString(); }

        /// <summary>Counts the verdicts in a judged copy written by <see cref="Engine.Evaluate"/>.
        /// Every input line is copied and the verdict stands on the line right after each test line,
        /// so verdicts are found by position: a copied input line that begins with ";OK" is not
        /// counted.</summary>
        public static Verdicts Read(string path)
        {
            string[] lines = Texts.Decode(System.IO.File.ReadAllBytes(path)).Split('\n');
            int right = 0, wrong = 0;
            for (int i = 0; i + 1 < lines.Length; ++i) {
                if (!lines[i].StartsWith(";TESTS\t", StringComparison.Ordinal)) continue;
                if (lines[i + 1].StartsWith(";OK\t", StringComparison.Ordinal)) ++right;
                else if (lines[i + 1].StartsWith(";ERROR\t", StringComparison.Ordinal)) ++wrong;
                ++i;
            }
            return new Verdicts(right, wrong);
        }
    }

    /// <summary>A test of the network: its tag, its description and its values, in the order of
    /// the test results.</summary>
    public sealed class NetworkTest
    {
        internal NetworkTest(string tag, string description, string[] values)
        {
            Tag = tag;
            Description = description;
            Values = Array.AsReadOnly(values);
        }

        /// <summary>The test's tag.</summary>
        public string Tag { get; private set; }

        /// <summary>The test's description, without surrounding white space.</summary>
        public string Description { get; private set; }

        /// <summary>The test's values: the characters a field's results use for it.</summary>
        public IReadOnlyList<string> Values { get; private set; }
    }

    /// <summary>The answers of <see cref="Engine.ClassifyMany"/>: for each field, in the order
    /// given, its ranking (every state with its probability, most probable first), or an empty
    /// ranking where the field does not fit (<see cref="IsOk"/> false).</summary>
    public sealed class Batch : IReadOnlyList<IList<StateProbability>>
    {
        private readonly byte[] m_states;
        private readonly double[] m_probabilities;
        private readonly int[] m_statuses;
        private readonly int m_stride;

        internal Batch(byte[] states, double[] probabilities, int[] statuses, int stride, int width)
        {
            m_states = states;
            m_probabilities = probabilities;
            m_statuses = statuses;
            m_stride = stride;
            Width = width;
        }

        /// <summary>The number of fields.</summary>
        public int Count { get { return m_statuses.Length; } }

        /// <summary>The number of entries of a ranking: the network's states.</summary>
        public int Width { get; private set; }

        /// <summary>Whether field <paramref name="field"/> was classified.</summary>
        public bool IsOk(int field)
        {
            if (field < 0 || field >= Count) throw new ArgumentOutOfRangeException("field");
            return m_statuses[field] == NativeMethods.Ok;
        }

        /// <summary>The state of rank <paramref name="rank"/> (0: the most probable) for a field that
        /// was classified.</summary>
        public char State(int field, int rank) { return (char)m_states[Entry(field, rank)]; }

        /// <summary>The probability of rank <paramref name="rank"/> for a field that was classified.</summary>
        public double Probability(int field, int rank) { return m_probabilities[Entry(field, rank)]; }

        /// <summary>The ranking of field <paramref name="field"/>, empty where it does not fit.</summary>
        public IList<StateProbability> this[int field]
        {
            get {
                if (!IsOk(field)) return new StateProbability[0];
                var entries = new StateProbability[Width];
                for (int i = 0; i < Width; ++i)
                    entries[i] = new StateProbability(State(field, i), Probability(field, i));
                return entries;
            }
        }

        /// <summary>The rankings in field order.</summary>
        public IEnumerator<IList<StateProbability>> GetEnumerator()
        {
            for (int i = 0; i < Count; ++i) yield return this[i];
        }

        IEnumerator IEnumerable.GetEnumerator() { return GetEnumerator(); }

        private int Entry(int field, int rank)
        {
            if (!IsOk(field)) throw new InvalidOperationException("field " + field + " was not classified");
            if (rank < 0 || rank >= Width) throw new ArgumentOutOfRangeException("rank");
            return field * m_stride + rank;
        }
    }

    /// <summary>An out-of-fold verdict of <see cref="Engine.CrossValidate"/>: a test line of the
    /// sample file judged by the model trained on the other folds.</summary>
    public sealed class FoldVerdict
    {
        internal FoldVerdict(int fold, long line, string expected, string results, StateProbability[] ranking)
        {
            Fold = fold;
            Line = line;
            Expected = expected;
            Results = results;
            Ranking = Array.AsReadOnly(ranking);
        }

        /// <summary>The line's fold, from 0.</summary>
        public int Fold { get; private set; }

        /// <summary>The line's number in the sample file.</summary>
        public long Line { get; private set; }

        /// <summary>The line's expected states.</summary>
        public string Expected { get; private set; }

        /// <summary>The line's test results, full stops removed.</summary>
        public string Results { get; private set; }

        /// <summary>Every state with its probability, at full precision, most probable first.</summary>
        public IReadOnlyList<StateProbability> Ranking { get; private set; }
    }

    /// <summary>The figures of <see cref="Engine.CrossValidate"/>, fold by fold. Accuracies are
    /// shares (0.9 for 90 %), as the command's JSON gives them.</summary>
    public sealed class CrossValidation
    {
        internal CrossValidation(long[] right, long[] wrong)
        {
            Right = Array.AsReadOnly(right);
            Wrong = Array.AsReadOnly(wrong);
            var accuracies = new double[right.Length];
            var judged = new List<double>();
            long allRight = 0, allWrong = 0;
            for (int f = 0; f < right.Length; ++f) {
                accuracies[f] = Selection.Share(right[f], wrong[f]);
                if (right[f] + wrong[f] > 0) judged.Add(accuracies[f]);
                allRight += right[f];
                allWrong += wrong[f];
            }
            Accuracies = Array.AsReadOnly(accuracies);
            // Summed as the command sums them, so that the figures are the same to the bit.
            double mean = 0, squares = 0;
            foreach (double accuracy in judged) mean += accuracy / judged.Count;
            foreach (double accuracy in judged) squares += (accuracy - mean) * (accuracy - mean);
            Mean = judged.Count > 0 ? mean : double.NaN;
            StandardDeviation = judged.Count > 1 ? Math.Sqrt(squares / (judged.Count - 1))
                                : judged.Count == 1 ? 0 : double.NaN;
            Overall = Selection.Share(allRight, allWrong);
        }

        /// <summary>The test lines of each fold judged right.</summary>
        public IReadOnlyList<long> Right { get; private set; }

        /// <summary>The test lines of each fold judged wrong.</summary>
        public IReadOnlyList<long> Wrong { get; private set; }

        /// <summary>Each fold's accuracy; NaN for a fold without lines.</summary>
        public IReadOnlyList<double> Accuracies { get; private set; }

        /// <summary>The mean of the accuracies of the folds with lines; NaN when none has any.</summary>
        public double Mean { get; private set; }

        /// <summary>The sample standard deviation of the accuracies of the folds with lines: 0 for one
        /// such fold, NaN for none.</summary>
        public double StandardDeviation { get; private set; }

        /// <summary>The lines of all folds judged right, of all their lines; NaN without lines.</summary>
        public double Overall { get; private set; }
    }

#pragma warning disable 0649  // written by the library
    /// <summary>A step of <see cref="Engine.SelectTests"/>: the test dropped (or added) and the
    /// cross-validated figures of the set after it. (Laid out as the library's
    /// veltra_selection_step, which it is written as.)</summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct SelectionStep
    {
        private int m_test, m_tests;
        private long m_right, m_wrong;
        private double m_logLoss;

        /// <summary>The test dropped or added, in results order from 0; -1 for the first set.</summary>
        public int Test { get { return m_test; } }

        /// <summary>The number of tests in the set after the step.</summary>
        public int Tests { get { return m_tests; } }

        /// <summary>Out-of-fold test lines judged right with the set.</summary>
        public long Right { get { return m_right; } }

        /// <summary>Out-of-fold test lines judged wrong with the set.</summary>
        public long Wrong { get { return m_wrong; } }

        /// <summary>The share judged right; NaN without lines.</summary>
        public double Accuracy { get { return Selection.Share(m_right, m_wrong); } }

        /// <summary>The mean of -ln p of the true state (the most probable state when it is expected,
        /// else the first expected state), p at least 1e-15.</summary>
        public double LogLoss { get { return m_logLoss; } }
    }

    /// <summary>What <see cref="Engine.SelectTests"/> tells of one test. (Laid out as the library's
    /// veltra_test_score, which it is written as.)</summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct TestScore
    {
        private double m_mutualInformation, m_accuracyDrop;
        private long m_rightWithout, m_wrongWithout;
        private double m_logLossWithout;

        /// <summary>The mutual information, in bits, between the test's value and the state, over the
        /// samples in which the test was observed (all samples).</summary>
        public double MutualInformation { get { return m_mutualInformation; } }

        /// <summary>The accuracy of every test less that of every test but this one, as a share
        /// (0.01: one point).</summary>
        public double AccuracyDrop { get { return m_accuracyDrop; } }

        /// <summary>Out-of-fold test lines judged right with every test but this one.</summary>
        public long RightWithout { get { return m_rightWithout; } }

        /// <summary>Out-of-fold test lines judged wrong with every test but this one.</summary>
        public long WrongWithout { get { return m_wrongWithout; } }

        /// <summary>The accuracy with every test but this one, as a share; NaN without lines.</summary>
        public double AccuracyWithout { get { return Selection.Share(m_rightWithout, m_wrongWithout); } }

        /// <summary>The log loss with every test but this one, as <see cref="SelectionStep.LogLoss"/>.</summary>
        public double LogLossWithout { get { return m_logLossWithout; } }
    }
#pragma warning restore 0649

    /// <summary>The result of <see cref="Engine.SelectTests"/>: its steps, the tests of the set it
    /// kept and a score per test.</summary>
    public sealed class Selection
    {
        internal Selection(SelectionStep[] steps, int[] kept, TestScore[] scores)
        {
            Steps = Array.AsReadOnly(steps);
            Kept = Array.AsReadOnly(kept);
            Scores = Array.AsReadOnly(scores);
        }

        /// <summary>The first set (<see cref="SelectionStep.Test"/> -1), then one entry per step.</summary>
        public IReadOnlyList<SelectionStep> Steps { get; private set; }

        /// <summary>The tests of the set kept, in results order from 0: what
        /// <see cref="Engine.WriteTests"/> takes.</summary>
        public IReadOnlyList<int> Kept { get; private set; }

        /// <summary>One score per test of the network, in results order.</summary>
        public IReadOnlyList<TestScore> Scores { get; private set; }

        internal static double Share(long right, long wrong)
        {
            return right + wrong > 0 ? (double)right / (right + wrong) : double.NaN;
        }
    }

    /// <summary>One engine of the library. <c>new Engine()</c> is empty, ready for
    /// <see cref="Train"/>; <see cref="FromFile(string)"/> and <see cref="FromText(string)"/> give
    /// one holding a network. Loading or training answers from the network just loaded: nothing
    /// classified before is remembered.
    ///
    /// An engine may be shared by threads: its calls take turns. <see cref="Dispose"/> waits for a
    /// call that is running, and an engine is never destroyed under a call. Callbacks (messages,
    /// progress) run on the calling thread during the call and must not call into the same
    /// engine; an exception they throw is kept and thrown again when the call returns.</summary>
    public sealed class Engine : IDisposable
    {
        private static readonly string[] s_fileReasons = {
            "Cannot open file", "Cannot read file", "Cannot write file", "Not a regular file",
            "Output would overwrite", "Cannot create a temporary file",
        };

        private readonly EngineHandle m_handle;
        private readonly object m_lock = new object();
        private readonly Action<MessageKind, string> m_messages;
        // The library holds pointers to these between calls: the fields keep them from the collector.
        private readonly NativeMethods.MessageCallback m_onMessage;
        private readonly NativeMethods.ProgressCallback m_onProgress;
        private IProgress<LineProgress> m_progress;
        private Exception m_callbackError;
        private IReadOnlyList<string> m_stateNames = new string[0];
        private IReadOnlyList<NetworkTest> m_tests = new NetworkTest[0];
        private byte[] m_states = new byte[1];
        private double[] m_probabilities = new double[1];

        /// <summary>An empty engine.</summary>
        /// <exception cref="OutOfMemoryException">The library could not create one.</exception>
        public Engine() : this(null) { }

        /// <summary>An empty engine that passes the library's warnings, summaries and failure
        /// reasons to <paramref name="messages"/>, on the calling thread, during the call.</summary>
        public Engine(Action<MessageKind, string> messages)
        {
            m_onProgress = OnProgress;
            m_onMessage = OnMessage;
            int status = NativeMethods.veltra_engine_create(out m_handle);
            if (status != NativeMethods.Ok || m_handle.IsInvalid)
                throw new OutOfMemoryException("no engine could be created (status " + status + ")");
            m_messages = messages;
            if (messages != null) {
                const int kinds = (int)(MessageKind.Failure | MessageKind.Warning | MessageKind.Summary);
                NativeMethods.veltra_engine_set_message_callback(m_handle, m_onMessage, IntPtr.Zero, kinds);
            }
        }

        /// <summary>The library's version, for example "2.6.0".</summary>
        public static string Version { get { return Texts.FromNative(NativeMethods.veltra_version()); } }

        /// <summary>The version of the host interface the library implements.</summary>
        public static int InterfaceVersion { get { return NativeMethods.veltra_interface_version(); } }

        /// <summary>An engine holding the network described in the file at <paramref name="path"/>.</summary>
        /// <exception cref="VeltraFileException">The file cannot be read.</exception>
        /// <exception cref="VeltraLineException">A line of the description does not fit.</exception>
        public static Engine FromFile(string path) { return FromFile(path, null); }

        /// <summary>An engine holding the network described in the file at <paramref name="path"/>,
        /// passing the library's messages to <paramref name="messages"/>.</summary>
        /// <exception cref="VeltraFileException">The file cannot be read.</exception>
        /// <exception cref="VeltraLineException">A line of the description does not fit.</exception>
        public static Engine FromFile(string path, Action<MessageKind, string> messages)
        {
            Texts.RequirePath(path, "path");
            var engine = new Engine(messages);
            try {
                engine.LoadFile(path);
            } catch {
                engine.Dispose();
                throw;
            }
            return engine;
        }

        /// <summary>An engine holding the network described in <paramref name="text"/>.</summary>
        /// <exception cref="VeltraException">The description does not describe a network.</exception>
        public static Engine FromText(string text) { return FromText(text, null); }

        /// <summary>An engine holding the network described in <paramref name="text"/>, passing the
        /// library's messages to <paramref name="messages"/>.</summary>
        /// <exception cref="VeltraException">The description does not describe a network.</exception>
        public static Engine FromText(string text, Action<MessageKind, string> messages)
        {
            byte[] encoded = Texts.Encode(text, "text");
            var engine = new Engine(messages);
            try {
                engine.Load("load_text", () => NativeMethods.veltra_engine_load_text(engine.m_handle, encoded));
            } catch {
                engine.Dispose();
                throw;
            }
            return engine;
        }

        /// <summary>The network's states (their full names), in state order; empty before a load.</summary>
        public IReadOnlyList<string> States { get { return m_stateNames; } }

        /// <summary>The network's tests, in the order of the test results; empty before a load.</summary>
        public IReadOnlyList<NetworkTest> Tests { get { return m_tests; } }

        /// <summary>Loads the network described in the file at <paramref name="path"/>.</summary>
        /// <exception cref="VeltraFileException">The file cannot be read.</exception>
        /// <exception cref="VeltraLineException">A line of the description does not fit.</exception>
        public void LoadFile(string path)
        {
            Texts.RequirePath(path, "path");
            Load("load_file", () => NativeMethods.veltra_engine_load_file(m_handle, path));
        }

        /// <summary>Loads the network described in <paramref name="text"/>.</summary>
        /// <exception cref="VeltraException">The description does not describe a network.</exception>
        public void LoadText(string text)
        {
            byte[] encoded = Texts.Encode(text, "text");
            Load("load_text", () => NativeMethods.veltra_engine_load_text(m_handle, encoded));
        }

        /// <summary>Every state with its probability for one field's test results, most probable
        /// first. One character per test, "-" for no result; full stops are ignored.</summary>
        /// <exception cref="VeltraFieldException">The results do not fit the network.</exception>
        public IList<StateProbability> Classify(string results)
        {
            byte[] encoded = Texts.Encode(results, "results");
            lock (m_lock) {
                int count = m_states.Length;
                int status = Run("classify", FieldFailure(), null, NativeMethods.BufferTooSmall,
                                 () => NativeMethods.veltra_engine_classify(m_handle, encoded, m_states,
                                                                            m_probabilities, ref count));
                if (status == NativeMethods.BufferTooSmall) {
                    m_states = new byte[count];
                    m_probabilities = new double[count];
                    Run("classify", FieldFailure(), null, NativeMethods.Ok,
                        () => NativeMethods.veltra_engine_classify(m_handle, encoded, m_states, m_probabilities,
                                                                   ref count));
                }
                var entries = new StateProbability[count];
                for (int i = 0; i < count; ++i)
                    entries[i] = new StateProbability((char)m_states[i], m_probabilities[i]);
                return entries;
            }
        }

        /// <summary>Classifies many fields in one library call. A field that does not fit has an
        /// empty ranking in the batch; with <paramref name="strict"/>, the first such field throws
        /// instead (its number, from 1, as the exception's Line).</summary>
        /// <exception cref="VeltraFieldException">With strict, a field does not fit.</exception>
        public Batch ClassifyMany(IEnumerable<string> fields, bool strict = false)
        {
            if (fields == null) throw new ArgumentNullException("fields");
            var list = fields as IList<string> ?? new List<string>(fields);
            // One buffer of NUL-terminated fields, and a pointer to each.
            long size = 0;
            for (int i = 0; i < list.Count; ++i) {
                if (list[i] == null) throw new ArgumentException("field " + i + " is null", "fields");
                size += list[i].Length + 1;
            }
            var buffer = new byte[checked((int)size)];
            var offsets = new int[list.Count];
            int at = 0;
            for (int i = 0; i < list.Count; ++i) {
                offsets[i] = at;
                at += Texts.EncodeInto(list[i], buffer, at, "fields", "field " + i) + 1;
            }
            var statuses = new int[list.Count];
            GCHandle pinned = GCHandle.Alloc(buffer, GCHandleType.Pinned);
            try {
                var pointers = new IntPtr[list.Count];
                IntPtr start = pinned.AddrOfPinnedObject();
                for (int i = 0; i < pointers.Length; ++i) pointers[i] = new IntPtr(start.ToInt64() + offsets[i]);
                lock (m_lock) {
                    int width = m_stateNames.Count, stride = Math.Max(width, 1);
                    var states = new byte[checked(stride * list.Count)];
                    var probabilities = new double[states.Length];
                    Run("classify_many", FieldFailure(), null, strict ? NativeMethods.Ok : NativeMethods.Failed,
                        () => NativeMethods.veltra_engine_classify_many(m_handle, pointers.Length, pointers, stride,
                                                                        states, probabilities, statuses));
                    return new Batch(states, probabilities, statuses, stride, width);
                }
            } finally {
                pinned.Free();
            }
        }

        /// <summary>Trains <paramref name="network"/> on <paramref name="samples"/>, writes the
        /// trained description to <paramref name="output"/> (replaced whole at the end) and loads it.
        /// Returns the number of samples counted.</summary>
        /// <param name="network">The description to train.</param>
        /// <param name="samples">The sample file.</param>
        /// <param name="output">The file for the trained description.</param>
        /// <param name="progress">Told of the lines read, on the calling thread; null: no reports.</param>
        /// <exception cref="VeltraFileException">A file cannot be read or written.</exception>
        /// <exception cref="VeltraLineException">A line of a file does not fit.</exception>
        public long Train(string network, string samples, string output, IProgress<LineProgress> progress = null)
        {
            Texts.RequirePath(network, "network");
            Texts.RequirePath(samples, "samples");
            Texts.RequirePath(output, "output");
            long counted = 0;
            Load("train", () => NativeMethods.veltra_engine_train(m_handle, network, samples, output, out counted),
                 progress);
            return counted;
        }

        /// <summary>Judges every test line of <paramref name="input"/>, writes the judged copy to
        /// <paramref name="output"/> (none when null) and returns the verdicts; they convert to the
        /// accuracy in per cent (NaN for a file without test lines).</summary>
        /// <param name="input">The file of test lines.</param>
        /// <param name="output">The file for the judged copy, or null.</param>
        /// <param name="progress">Told of the lines read, on the calling thread; null: no reports.</param>
        /// <exception cref="VeltraFileException">A file cannot be read or written.</exception>
        /// <exception cref="VeltraLineException">A line of the input does not fit.</exception>
        public Verdicts Evaluate(string input, string output = null, IProgress<LineProgress> progress = null)
        {
            Texts.RequirePath(input, "input");
            if (output != null) Texts.RequirePath(output, "output");
            long right = 0, wrong = 0;
            lock (m_lock) {
                Run("evaluate", Kind.Line, progress, NativeMethods.Ok,
                    () => NativeMethods.veltra_engine_evaluate(m_handle, input, output, IntPtr.Zero, IntPtr.Zero,
                                                               out right, out wrong));
            }
            // The library keeps these counts within 32 bits.
            return new Verdicts((int)right, (int)wrong);
        }

        /// <summary>Writes to <paramref name="output"/> the description file <paramref name="network"/>
        /// holding only the tests at the positions <paramref name="tests"/> (in results order from 0,
        /// each once, in any order; <see cref="Selection.Kept"/> gives such positions). Its other
        /// lines are kept as they are and where they are. The engine's network stays as it is.</summary>
        /// <exception cref="VeltraFileException">A file cannot be read or written.</exception>
        /// <exception cref="VeltraLineException">A line of the description does not fit.</exception>
        /// <exception cref="VeltraException">A position is outside the tests or listed twice, or none is
        /// given.</exception>
        public void WriteTests(string network, IEnumerable<int> tests, string output)
        {
            Texts.RequirePath(network, "network");
            if (tests == null) throw new ArgumentNullException("tests");
            Texts.RequirePath(output, "output");
            int[] positions = new List<int>(tests).ToArray();
            lock (m_lock) {
                Run("write_tests", Kind.Line, null, NativeMethods.Ok,
                    () => NativeMethods.veltra_engine_write_tests(m_handle, network, positions, positions.Length,
                                                                  output));
            }
        }

        /// <summary>Cuts the labelled file <paramref name="input"/> (samples or an evaluation's input)
        /// to the tests of the description file <paramref name="chosen"/>, written by
        /// <see cref="WriteTests"/> from the network this engine holds, and writes it to
        /// <paramref name="output"/>. Every test line keeps the results of the chosen tests; every
        /// other line is copied as it is. Returns the number of test lines cut.</summary>
        /// <exception cref="VeltraFileException">A file cannot be read or written.</exception>
        /// <exception cref="VeltraLineException">A test line does not fit the network.</exception>
        /// <exception cref="VeltraException">A test of <paramref name="chosen"/> is none of the
        /// network's, or out of its order.</exception>
        public long Cut(string chosen, string input, string output)
        {
            Texts.RequirePath(chosen, "chosen");
            Texts.RequirePath(input, "input");
            Texts.RequirePath(output, "output");
            long cut = 0;
            lock (m_lock) {
                Run("cut", Kind.Line, null, NativeMethods.Ok,
                    () => NativeMethods.veltra_engine_cut(m_handle, chosen, input, output, out cut));
            }
            return cut;
        }

        /// <summary>Cross-validates <paramref name="network"/> on the test lines of
        /// <paramref name="samples"/>: <paramref name="folds"/> times trained on all folds but one and
        /// judged on that one, each fold's model exactly what <see cref="Train"/> writes for the other
        /// folds' lines. The folds follow from the file and <paramref name="seed"/> alone (with
        /// <paramref name="stratified"/>, within each expected-states text), as the command's
        /// <c>veltra cv</c> makes them. Afterwards the engine holds <paramref name="network"/> as
        /// <see cref="LoadFile"/> loads it.</summary>
        /// <param name="network">The description to train.</param>
        /// <param name="samples">The sample file.</param>
        /// <param name="folds">The number of folds, at least 2.</param>
        /// <param name="seed">The seed of the folds' shuffle.</param>
        /// <param name="stratified">Whether each expected-states text is spread over the folds apart.</param>
        /// <param name="progress">Told of the sample lines read, then of the test lines judged.</param>
        /// <param name="verdict">Told of every out-of-fold verdict, fold after fold, on the calling
        /// thread; null: none.</param>
        /// <exception cref="VeltraFileException">A file cannot be read.</exception>
        /// <exception cref="VeltraLineException">A line of a file does not fit.</exception>
        public CrossValidation CrossValidate(string network, string samples, int folds = 10, ulong seed = 0,
                                             bool stratified = false, IProgress<LineProgress> progress = null,
                                             Action<FoldVerdict> verdict = null)
        {
            Texts.RequirePath(network, "network");
            Texts.RequirePath(samples, "samples");
            if (folds < 2) throw new ArgumentOutOfRangeException("folds", "at least 2 folds");
            var right = new long[folds];
            var wrong = new long[folds];
            NativeMethods.VerdictCallback told = null;
            if (verdict != null)
                told = (context, fold, line, expected, results, count, states, probabilities) => Guarded(() => {
                    var ranking = new StateProbability[count];
                    var values = new double[count];
                    Marshal.Copy(probabilities, values, 0, count);
                    for (int i = 0; i < count; ++i)
                        ranking[i] = new StateProbability((char)Marshal.ReadByte(states, i), values[i]);
                    verdict(new FoldVerdict(fold, line, Texts.FromNative(expected), Texts.FromNative(results),
                                            ranking));
                });
            int flags = stratified ? NativeMethods.CvStratified : 0;
            Load("cross_validate",
                 () => NativeMethods.veltra_engine_cross_validate(m_handle, network, samples, folds, seed, flags,
                                                                  told, IntPtr.Zero, right, wrong),
                 progress);
            GC.KeepAlive(told);
            return new CrossValidation(right, wrong);
        }

        /// <summary>Chooses the tests of <paramref name="network"/> by cross-validated accuracy on
        /// <paramref name="samples"/>, on the folds of <see cref="CrossValidate"/> with the same
        /// <paramref name="folds"/>, <paramref name="seed"/> and <paramref name="stratified"/>. Greedy
        /// backward elimination drops, step after step, the test whose leaving out gives the best
        /// accuracy (with <paramref name="forward"/>, forward selection adds the test whose adding
        /// does), ties going to the lower log loss, then to the earlier test. It stops at
        /// <paramref name="keep"/> tests; with 0 it goes all the way and keeps the best set met (the
        /// highest accuracy, then the lowest log loss, then the fewest tests). Afterwards the engine
        /// holds <paramref name="network"/> as <see cref="LoadFile"/> loads it.</summary>
        /// <param name="network">The description whose tests are chosen.</param>
        /// <param name="samples">The sample file.</param>
        /// <param name="folds">The number of folds, at least 2.</param>
        /// <param name="seed">The seed of the folds' shuffle.</param>
        /// <param name="stratified">Whether each expected-states text is spread over the folds apart.</param>
        /// <param name="forward">Forward selection instead of backward elimination.</param>
        /// <param name="keep">The number of tests to stop at; 0: all the way, keeping the best set.</param>
        /// <param name="progress">Told of the sample lines read, then of the passes over the test lines.</param>
        /// <exception cref="VeltraFileException">A file cannot be read.</exception>
        /// <exception cref="VeltraLineException">A line of a file does not fit.</exception>
        public Selection SelectTests(string network, string samples, int folds = 10, ulong seed = 0,
                                     bool stratified = false, bool forward = false, int keep = 0,
                                     IProgress<LineProgress> progress = null)
        {
            Texts.RequirePath(network, "network");
            Texts.RequirePath(samples, "samples");
            if (folds < 2) throw new ArgumentOutOfRangeException("folds", "at least 2 folds");
            if (keep < 0) throw new ArgumentOutOfRangeException("keep", "no negative number of tests");
            int flags = (stratified ? NativeMethods.CvStratified : 0) | (forward ? NativeMethods.SelectForward : 0);
            int stepCount = 0, testCount = 0, keptCount = 0;
            lock (m_lock) {
                try {
                    // The arrays' sizes first: the library gives them once it has loaded the network,
                    // before it reads the samples.
                    Run("select_tests", Kind.Line, null, NativeMethods.BufferTooSmall,
                        () => NativeMethods.veltra_engine_select_tests(m_handle, network, samples, folds, seed, flags,
                                                                       keep, null, ref stepCount, null, null,
                                                                       ref testCount, out keptCount));
                    var steps = new SelectionStep[stepCount];
                    var scores = new TestScore[Math.Max(testCount, 1)];
                    var kept = new int[scores.Length];
                    Run("select_tests", Kind.Line, progress, NativeMethods.Ok,
                        () => NativeMethods.veltra_engine_select_tests(m_handle, network, samples, folds, seed, flags,
                                                                       keep, steps, ref stepCount, scores, kept,
                                                                       ref testCount, out keptCount));
                    Array.Resize(ref steps, stepCount);
                    Array.Resize(ref scores, testCount);
                    Array.Resize(ref kept, keptCount);
                    return new Selection(steps, kept, scores);
                } finally {
                    Refresh();
                }
            }
        }

        /// <summary>Destroys the engine, once a call running on it (from another thread) has
        /// returned. Disposing twice does nothing; any other use afterwards throws
        /// ObjectDisposedException.</summary>
        public void Dispose()
        {
            lock (m_lock) m_handle.Dispose();
        }

        // The library's side.

        private enum Kind { General, Line, Field }

        // Before a load, a failed classification says that there is no network: no field is at fault.
        private Kind FieldFailure() { return m_stateNames.Count > 0 ? Kind.Field : Kind.General; }

        // A call that loads a network (or may have loaded part of one): what it holds is read after it.
        private void Load(string call, Func<int> function, IProgress<LineProgress> progress = null)
        {
            lock (m_lock) {
                try {
                    Run(call, Kind.Line, progress, NativeMethods.Ok, function);
                } finally {
                    Refresh();
                }
            }
        }

        // Makes one library call under the engine's lock, which the caller holds. Returns the status
        // when it is OK or `accepted`; otherwise throws what the status and the engine's reason say.
        private int Run(string call, Kind failure, IProgress<LineProgress> progress, int accepted, Func<int> function)
        {
            if (m_handle.IsClosed) throw new ObjectDisposedException(typeof(Engine).FullName);
            int status;
            string reason = "", file = "";
            long line = 0;
            m_callbackError = null;
            // The progress callback is set for the calls given a progress only, and taken away once
            // the reason has been read (setting it is a call, which clears the reason).
            if (progress != null) {
                m_progress = progress;
                NativeMethods.veltra_engine_set_progress_callback(m_handle, m_onProgress, IntPtr.Zero);
            }
            try {
                status = function();
                Exception raised = m_callbackError;
                m_callbackError = null;
                if (raised != null) ExceptionDispatchInfo.Capture(raised).Throw();
                if (status == NativeMethods.Ok || status == accepted) return status;
                if (status == NativeMethods.OutOfMemory)
                    throw new OutOfMemoryException(call + ": the library ran out of memory");
                if (status == NativeMethods.Busy)
                    throw new InvalidOperationException(call + ": the engine is in another call (a callback may not " +
                                                        "call into its own engine)");
                reason = Texts.Readable(NativeMethods.veltra_engine_error(m_handle)).TrimEnd('\n');
                file = Texts.Readable(NativeMethods.veltra_engine_error_file(m_handle));
                line = NativeMethods.veltra_engine_error_line(m_handle);
            } finally {
                if (progress != null) {
                    m_progress = null;
                    if (!m_handle.IsClosed)
                        NativeMethods.veltra_engine_set_progress_callback(m_handle, null, IntPtr.Zero);
                }
                GC.KeepAlive(this);
            }
            if (status == NativeMethods.InvalidArgument) throw new ArgumentException(call + ": " + reason);
            foreach (string prefix in s_fileReasons)
                if (reason.StartsWith(prefix, StringComparison.Ordinal))
                    throw new VeltraFileException(call, reason, file, line);
            if (failure == Kind.Line && line > 0 && file.Length > 0)
                throw new VeltraLineException(call, reason, file, line);
            if (failure == Kind.Field) throw new VeltraFieldException(call, reason, file, line);
            throw new VeltraException(call, reason, file, line);
        }

        // Reads what the loaded network holds, under the lock; nothing when no network is loaded.
        private void Refresh()
        {
            var names = new List<string>();
            var tests = new List<NetworkTest>();
            EngineHandle engine = m_handle;
            NativeMethods.NetworkInfo info;
            if (!engine.IsClosed && NativeMethods.veltra_network_get_info(engine, out info) == NativeMethods.Ok) {
                for (int s = 0; s < info.States; ++s) {
                    int state = s;
                    TextGetter name = (byte[] text, ref int size) =>
                        NativeMethods.veltra_network_get_state(engine, state, IntPtr.Zero, text, ref size);
                    names.Add(Read(name));
                }
                for (int t = 0; t < info.Tests; ++t) {
                    int test = t, count;
                    NativeMethods.veltra_network_get_value_count(engine, test, out count);
                    var values = new string[Math.Max(count, 0)];
                    for (int v = 0; v < values.Length; ++v) {
                        int value = v;
                        TextGetter text = (byte[] bytes, ref int size) =>
                            NativeMethods.veltra_network_get_value(engine, test, value, bytes, ref size);
                        values[v] = Read(text);
                    }
                    TextGetter tag = (byte[] text, ref int size) =>
                        NativeMethods.veltra_network_get_test(engine, test, 0, text, ref size);
                    TextGetter description = (byte[] text, ref int size) =>
                        NativeMethods.veltra_network_get_test(engine, test, 1, text, ref size);
                    tests.Add(new NetworkTest(Read(tag), Read(description).Trim(), values));
                }
            }
            m_stateNames = names.AsReadOnly();
            m_tests = tests.AsReadOnly();
            int capacity = Math.Max(names.Count, 1);
            m_states = new byte[capacity];
            m_probabilities = new double[capacity];
        }

        private delegate int TextGetter(byte[] text, ref int size);

        // A text the library returns: its size asked first, then the text.
        private static string Read(TextGetter get)
        {
            int size = 0;
            get(null, ref size);
            var buffer = new byte[Math.Max(size, 1)];
            if (get(buffer, ref size) != NativeMethods.Ok) return "";
            return Texts.Decode(buffer, Math.Max(size - 1, 0));
        }

        private void OnMessage(IntPtr context, int kind, IntPtr text)
        {
            if (m_messages != null) Guarded(() => m_messages((MessageKind)kind, Texts.Readable(text)));
        }

        private void OnProgress(IntPtr context, long done, long total)
        {
            if (m_progress != null) Guarded(() => m_progress.Report(new LineProgress(done, total)));
        }

        // Runs a host's callback for the library. An exception cannot cross the library: the first
        // is kept and thrown when the call returns, and the callbacks after it are not run.
        private void Guarded(Action callback)
        {
            if (m_callbackError != null) return;
            try {
                callback();
            } catch (Exception e) {
                m_callbackError = e;
            }
        }
    }

    /// <summary>Strings to the library's bytes and back.</summary>
    internal static class Texts
    {
        private static readonly Encoding s_strictUtf8 = new UTF8Encoding(false, true);

        // A text for the library: one byte per character (Latin-1) and a NUL at the end.
        internal static byte[] Encode(string value, string name)
        {
            if (value == null) throw new ArgumentNullException(name);
            var bytes = new byte[value.Length + 1];
            EncodeInto(value, bytes, 0, name, name);
            return bytes;
        }

        // Writes the bytes of `value` at `at` (the NUL after them is left as it is); returns their number.
        internal static int EncodeInto(string value, byte[] bytes, int at, string name, string what)
        {
            for (int i = 0; i < value.Length; ++i) {
                char c = value[i];
                // The library would read up to a NUL only.
                if (c == '\0') throw new ArgumentException(what + " holds a NUL character", name);
                if (c > '\u00FF')
                    throw new ArgumentException(
                        string.Format("{0} holds U+{1:X4}, which is no byte: texts are Latin-1, one character per byte",
                                      what, (int)c), name);
                bytes[at + i] = (byte)c;
            }
            return value.Length;
        }

        internal static void RequirePath(string value, string name)
        {
            if (value == null) throw new ArgumentNullException(name);
            if (value.IndexOf('\0') >= 0) throw new ArgumentException(name + " holds a NUL character", name);
        }

        internal static string Decode(byte[] bytes) { return Decode(bytes, bytes.Length); }

        internal static string Decode(byte[] bytes, int count)
        {
            var chars = new char[count];
            for (int i = 0; i < count; ++i) chars[i] = (char)bytes[i];
            return new string(chars);
        }

        private static byte[] Bytes(IntPtr text)
        {
            if (text == IntPtr.Zero) return new byte[0];
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) ++length;
            var bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return bytes;
        }

        // A text of the library, one character per byte.
        internal static string FromNative(IntPtr text) { return Decode(Bytes(text)); }

        // A text for people (a reason, a file name, a message): it may hold a file name, which is
        // UTF-8 on Linux, and parts of lines, which are the bytes of the file. UTF-8 where the bytes
        // are UTF-8, Latin-1 where they are not.
        internal static string Readable(IntPtr text)
        {
            byte[] bytes = Bytes(text);
            try {
                return s_strictUtf8.GetString(bytes);
            } catch (DecoderFallbackException) {
                return Decode(bytes);
            }
        }
    }

    /// <summary>The engine handle. Releasing it destroys the engine, once; the runtime never
    /// releases it while a library call is using it.</summary>
    internal sealed class EngineHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        private EngineHandle() : base(true) { }

        protected override bool ReleaseHandle()
        {
            return NativeMethods.veltra_engine_destroy(handle) == NativeMethods.Ok;
        }
    }

    /// <summary>The declarations of api/VeltraHost.h: __cdecl on Windows, the platform's C
    /// convention elsewhere; int32_t is int, int64_t long. Texts go in as byte arrays ending in a
    /// NUL; file names as narrow strings of the platform (see the top of this file), never
    /// best-fitted. Arrays are pinned and written in place.</summary>
    internal static class NativeMethods
    {
        private const string Library = "VeltraHost";
        private const CallingConvention Convention = CallingConvention.Cdecl;

        internal const int Ok = 0, Failed = 1, InvalidArgument = 2, BufferTooSmall = 3, Busy = 4, OutOfMemory = 5;
        internal const int CvStratified = 1, SelectForward = 2;

#pragma warning disable 0649  // written by the library
        [StructLayout(LayoutKind.Sequential)]
        internal struct NetworkInfo
        {
            internal int States, Tests, ProbabilityLines, UnderflowTests;
            internal double SmallestPrior, SmallestConditional;
        }
#pragma warning restore 0649

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void MessageCallback(IntPtr context, int kind, IntPtr text);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void ProgressCallback(IntPtr context, long done, long total);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void VerdictCallback(IntPtr context, int fold, long line, IntPtr expected, IntPtr results,
                                               int count, IntPtr states, IntPtr probabilities);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern IntPtr veltra_version();

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_interface_version();

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_engine_create(out EngineHandle engine);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_engine_destroy(IntPtr engine);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern IntPtr veltra_engine_error(EngineHandle engine);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern IntPtr veltra_engine_error_file(EngineHandle engine);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern long veltra_engine_error_line(EngineHandle engine);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_engine_set_message_callback(EngineHandle engine, MessageCallback callback,
                                                                      IntPtr context, int kinds);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_engine_set_progress_callback(EngineHandle engine, ProgressCallback callback,
                                                                       IntPtr context);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int veltra_engine_load_file(EngineHandle engine,
                                                           [MarshalAs(UnmanagedType.LPStr)] string path);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_engine_load_text(EngineHandle engine, byte[] text);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_network_get_info(EngineHandle engine, out NetworkInfo info);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_network_get_state(EngineHandle engine, int index, IntPtr result,
                                                            [Out] byte[] name, ref int size);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_network_get_test(EngineHandle engine, int index, int field,
                                                           [Out] byte[] text, ref int size);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_network_get_value_count(EngineHandle engine, int test, out int count);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_network_get_value(EngineHandle engine, int test, int value,
                                                            [Out] byte[] text, ref int size);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_engine_classify(EngineHandle engine, byte[] results, [Out] byte[] states,
                                                          [Out] double[] probabilities, ref int count);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int veltra_engine_classify_many(EngineHandle engine, int fields, IntPtr[] results,
                                                               int stride, [Out] byte[] states,
                                                               [Out] double[] probabilities, [Out] int[] statuses);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int veltra_engine_train(EngineHandle engine,
                                                       [MarshalAs(UnmanagedType.LPStr)] string network,
                                                       [MarshalAs(UnmanagedType.LPStr)] string samples,
                                                       [MarshalAs(UnmanagedType.LPStr)] string output,
                                                       out long samplesCounted);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int veltra_engine_evaluate(EngineHandle engine,
                                                          [MarshalAs(UnmanagedType.LPStr)] string input,
                                                          [MarshalAs(UnmanagedType.LPStr)] string output,
                                                          IntPtr judged, IntPtr context, out long right,
                                                          out long wrong);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int veltra_engine_write_tests(EngineHandle engine,
                                                             [MarshalAs(UnmanagedType.LPStr)] string network,
                                                             int[] tests, int count,
                                                             [MarshalAs(UnmanagedType.LPStr)] string output);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int veltra_engine_cut(EngineHandle engine,
                                                     [MarshalAs(UnmanagedType.LPStr)] string chosen,
                                                     [MarshalAs(UnmanagedType.LPStr)] string input,
                                                     [MarshalAs(UnmanagedType.LPStr)] string output, out long cut);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int veltra_engine_cross_validate(EngineHandle engine,
                                                                [MarshalAs(UnmanagedType.LPStr)] string network,
                                                                [MarshalAs(UnmanagedType.LPStr)] string samples,
                                                                int folds, ulong seed, int flags,
                                                                VerdictCallback verdict, IntPtr context,
                                                                [Out] long[] right, [Out] long[] wrong);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int veltra_engine_select_tests(EngineHandle engine,
                                                              [MarshalAs(UnmanagedType.LPStr)] string network,
                                                              [MarshalAs(UnmanagedType.LPStr)] string samples,
                                                              int folds, ulong seed, int flags, int keep,
                                                              [Out] SelectionStep[] steps, ref int stepCount,
                                                              [Out] TestScore[] scores, [Out] int[] kept,
                                                              ref int testCount, out int keptCount);
    }
}
