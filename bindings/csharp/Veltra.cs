// Veltra from .NET: the seven functions of api/Veltra.h, and an engine object over them.
//
//     using (var engine = Veltra.Engine.FromFile("trained.txt"))
//         foreach (var entry in engine.Classify("msld-32n"))
//             Console.WriteLine("{0} {1}", entry.State, entry.Probability);
//
// The native library is Veltra.dll on Windows and libVeltra.so elsewhere, found by the runtime's
// usual search (the application's directory, PATH or LD_LIBRARY_PATH). This assembly must not be
// called Veltra.dll itself, or Windows would take it for the native library: the project builds
// Veltra.Net.dll. A call that returns -1 throws VeltraException naming the call; the library has
// already explained the failure on standard error. One engine, one thread at a time.
using System;
using System.Collections.Generic;
using System.IO;
using System.Runtime.InteropServices;
using System.Text;
using Microsoft.Win32.SafeHandles;

namespace Veltra
{
    /// <summary>A library call returned -1. The reason is on standard error.</summary>
    public sealed class VeltraException : Exception
    {
        public VeltraException(string call, string detail) : base(call + ": " + detail)
        {
            Call = call;
        }

        /// <summary>The library function that failed, for example "Analyze".</summary>
        public string Call { get; private set; }
    }

    /// <summary>One state of a classification and its probability.</summary>
    public struct StateProbability
    {
        public StateProbability(char state, double probability)
        {
            State = state;
            Probability = probability;
        }

        /// <summary>The state's character (its byte, as the character of the same value).</summary>
        public char State { get; private set; }

        public double Probability { get; private set; }
    }

    /// <summary>The counted verdicts of an evaluated file.</summary>
    public struct Verdicts
    {
        public Verdicts(int right, int wrong)
        {
            Right = right;
            Wrong = wrong;
        }

        public int Right { get; private set; }
        public int Wrong { get; private set; }

        /// <summary>The share judged right, in per cent, computed as the library computes it.</summary>
        public double Accuracy { get { return Right * 100.0 / (Wrong + Right); } }

        /// <summary>Counts the verdicts in a file written by AnalyzeFile. The library copies every
        /// input line and writes the verdict on the line right after each test line, so verdicts are
        /// found by position: a copied input line that begins with ";OK" is not counted.</summary>
        public static Verdicts Read(string path)
        {
            string[] lines = Encoding.GetEncoding(28591).GetString(File.ReadAllBytes(path)).Split('\n');
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

    /// <summary>The engine handle. Releasing it destroys the engine, once.</summary>
    internal sealed class EngineHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        private EngineHandle() : base(true) { }

        protected override bool ReleaseHandle()
        {
            // The library takes the address of the handle variable and leaves it as it was.
            IntPtr engine = handle;
            return NativeMethods.DestroyBayesianEngine(ref engine) == 0;
        }
    }

    /// <summary>The declarations of api/Veltra.h. Winapi is __stdcall on Windows and the
    /// platform's default convention elsewhere, as the header declares; int32_t is int; the
    /// texts go in as 8-bit strings and are never freed by the runtime; the arrays are pinned
    /// and written in place by the library.</summary>
    internal static class NativeMethods
    {
        private const string Library = "Veltra";
        private const CallingConvention Convention = CallingConvention.Winapi;

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int CreateBayesianEngine(out EngineHandle engine);

        [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
        internal static extern int DestroyBayesianEngine(ref IntPtr engine);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int InitializeThruFile(EngineHandle engine,
                                                      [MarshalAs(UnmanagedType.LPStr)] string path);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int InitializeThruParam(EngineHandle engine,
                                                       [MarshalAs(UnmanagedType.LPStr)] string text);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int Train(EngineHandle engine,
                                         [MarshalAs(UnmanagedType.LPStr)] string networkFile,
                                         [MarshalAs(UnmanagedType.LPStr)] string sampleFile,
                                         [MarshalAs(UnmanagedType.LPStr)] string outputFile);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int Analyze(EngineHandle engine,
                                           [MarshalAs(UnmanagedType.LPStr)] string testResults,
                                           [Out] byte[] categories, [Out] double[] probabilities,
                                           ref int count);

        [DllImport(Library, CallingConvention = Convention, CharSet = CharSet.Ansi, ExactSpelling = true,
                   BestFitMapping = false, ThrowOnUnmappableChar = true)]
        internal static extern int AnalyzeFile(EngineHandle engine,
                                               [MarshalAs(UnmanagedType.LPStr)] string inputFile,
                                               [MarshalAs(UnmanagedType.LPStr)] string outputFile);
    }

    /// <summary>One engine of the library, destroyed by Dispose. An empty engine (new Engine())
    /// is ready for Train; FromFile and FromText give one holding a network. An engine keeps its
    /// result caches across loads, so load a different network into a fresh engine.</summary>
    public sealed class Engine : IDisposable
    {
        private readonly EngineHandle m_handle;
        // Analyze writes nothing unless the capacity covers every state, and the library does not
        // tell how many states a network has. The states are the comma-separated items of the
        // hypothesis line, each at least one byte, so no network read from a description has more
        // states than the description's longest line has bytes. The engine keeps the largest such
        // length of every description it was handed: an exact bound, and a small one.
        private byte[] m_categories = new byte[1];
        private double[] m_probabilities = new double[1];

        public Engine()
        {
            if (NativeMethods.CreateBayesianEngine(out m_handle) != 0 || m_handle.IsInvalid)
                throw new VeltraException("CreateBayesianEngine", "no engine was created");
        }

        /// <summary>An engine holding the network described in the file at path
        /// (InitializeThruFile).</summary>
        public static Engine FromFile(string path)
        {
            Require(path, "path");
            var engine = new Engine();
            try {
                Check(NativeMethods.InitializeThruFile(engine.m_handle, path), "InitializeThruFile",
                      "cannot load " + path);
                engine.Cover(LongestLineOfFile(path));
            } catch {
                engine.Dispose();
                throw;
            }
            return engine;
        }

        /// <summary>An engine holding the network described in text (InitializeThruParam).</summary>
        public static Engine FromText(string text)
        {
            Require(text, "text");
            var engine = new Engine();
            try {
                Check(NativeMethods.InitializeThruParam(engine.m_handle, text), "InitializeThruParam",
                      "cannot load the description");
                engine.Cover(LongestLine(text));
            } catch {
                engine.Dispose();
                throw;
            }
            return engine;
        }

        /// <summary>Every state with its probability for one field's test results, most probable
        /// first. One character per test, "-" for no result; full stops are ignored.</summary>
        public IList<StateProbability> Classify(string results)
        {
            Require(results, "results");
            int count = m_categories.Length;
            int status = NativeMethods.Analyze(m_handle, results, m_categories, m_probabilities, ref count);
            Check(status, "Analyze", "cannot classify \"" + results + "\"");
            var entries = new StateProbability[count];
            for (int i = 0; i < count; ++i)
                entries[i] = new StateProbability((char)m_categories[i], m_probabilities[i]);
            return entries;
        }

        /// <summary>Trains network on samples, writes the trained description to output and
        /// reloads the engine from it (Train). Progress and the summary go to standard output.</summary>
        public void Train(string network, string samples, string output)
        {
            Require(network, "network");
            Require(samples, "samples");
            Require(output, "output");
            try {
                Check(NativeMethods.Train(m_handle, network, samples, output), "Train",
                      "cannot train " + network + " on " + samples);
            } finally {
                // Whether it succeeded or stopped, the engine holds (part of) one of these two.
                Cover(Math.Max(LongestLineOfFile(network), LongestLineOfFile(output)));
            }
        }

        /// <summary>Classifies every test line of input, writes the judged copy to output
        /// (AnalyzeFile) and returns the accuracy in per cent (NaN for a file without test lines),
        /// computed from the counted verdicts as the library computes the figure it prints.</summary>
        public double Evaluate(string input, string output)
        {
            Require(input, "input");
            Require(output, "output");
            Check(NativeMethods.AnalyzeFile(m_handle, input, output), "AnalyzeFile",
                  "cannot evaluate " + input);
            return Verdicts.Read(output).Accuracy;
        }

        /// <summary>Destroys the engine (DestroyBayesianEngine). Disposing twice does nothing; any
        /// other use afterwards throws ObjectDisposedException.</summary>
        public void Dispose() { m_handle.Dispose(); }

        private static void Check(int status, string call, string detail)
        {
            if (status != 0) throw new VeltraException(call, detail);
        }

        private static void Require(string value, string name)
        {
            // A null would reach the library as a null pointer.
            if (value == null) throw new ArgumentNullException(name);
            if (value.IndexOf('\0') >= 0) throw new ArgumentException("holds a NUL character", name);
        }

        private void Cover(int states)
        {
            if (states <= m_categories.Length) return;
            m_categories = new byte[states];
            m_probabilities = new double[states];
        }

        private static int LongestLine(string text)
        {
            int longest = 0;
            // Bytes, as the library reads them; UTF-8 never has fewer bytes than the ANSI page.
            foreach (string line in text.Split('\r', '\n'))
                longest = Math.Max(longest, Encoding.UTF8.GetByteCount(line));
            return longest;
        }

        private static int LongestLineOfFile(string path)
        {
            try {
                return LongestLine(Encoding.GetEncoding(28591).GetString(File.ReadAllBytes(path)));
            } catch (IOException) {
                return 0;
            } catch (UnauthorizedAccessException) {
                return 0;
            }
        }
    }
}
