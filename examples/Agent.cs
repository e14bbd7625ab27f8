// An agent for Windows in C#: prints the server's version and the name of a package and, with a target
// and a file, downloads and shows the progress. Ctrl-C cancels.
//
//   Agent URL [TARGET FILE]
//
// ORLACl.dll is for 32-bit processes, so compile for x86 ("csc /platform:x86 Agent.cs", or
// <PlatformTarget>x86</PlatformTarget>). The DLL must be in the directory of the program.
using System;
using System.Globalization;
using System.Runtime.InteropServices;
using System.Text;

static class Orla
{
    public const uint Ok = 0, NoCode = 0xFFFFFFFF, ProgressCancel = 11, ProgressAbandon = 9;
    public const int MessageSize = 1024;

    // The progress record: 278 bytes without padding. Its byte count and status are not aligned, so the
    // record is in unmanaged memory, and is read and written by offset.
    public const int RecordSize = 278, StatusOffset = 10, ByteCountOffset = 274;

    // A delegate that is passed to the library must be kept alive until the call returns. It must not
    // throw, because an exception cannot pass through the library.
    [UnmanagedFunctionPointer(CallingConvention.StdCall)]
    public delegate void Progress(IntPtr record, IntPtr data, uint length);

    const string Dll = "ORLACl.dll";

    // The DLL adds the size of the arguments to each exported name. Strings are bytes: a path is in the
    // system's code page, which must have all of its characters; everything else is UTF-8.
    [DllImport(Dll, EntryPoint = "_ORLAInitialize@8", CallingConvention = CallingConvention.StdCall)]
    public static extern uint Initialize(uint flag, byte[] text);

    [DllImport(Dll, EntryPoint = "_ORLAConnect@16", CallingConvention = CallingConvention.StdCall)]
    public static extern uint Connect(byte[] url, byte[] credential, uint reserved, out uint handle);

    [DllImport(Dll, EntryPoint = "_ORLADisconnect@4", CallingConvention = CallingConvention.StdCall)]
    public static extern uint Disconnect(uint handle);

    [DllImport(Dll, EntryPoint = "_ORLAGetPackageName@24",
               CallingConvention = CallingConvention.StdCall)]
    public static extern uint GetPackageName(uint handle, uint type, uint count, IntPtr[] identities,
                                             [Out] byte[] name, ref uint size);

    // name: the zero-terminated file name, in a buffer with room for the answer. size: the length of
    // that buffer; receives the number of bytes that were sent.
    [DllImport(Dll, EntryPoint = "_ORLASendPackage@28", CallingConvention = CallingConvention.StdCall,
               CharSet = CharSet.Ansi, BestFitMapping = false, ThrowOnUnmappableChar = true)]
    public static extern uint SendPackage(uint handle, uint type, uint count, IntPtr[] identities,
                                          string path, [In, Out] byte[] name, ref uint size);

    [DllImport(Dll, EntryPoint = "_ORLADownloadFile@24", CallingConvention = CallingConvention.StdCall,
               CharSet = CharSet.Ansi, BestFitMapping = false, ThrowOnUnmappableChar = true)]
    public static extern uint DownloadFile(uint handle, byte[] target, string path, Progress progress,
                                           IntPtr record, byte[] counter);

    [DllImport(Dll, EntryPoint = "_ORLACleanup@0", CallingConvention = CallingConvention.StdCall)]
    public static extern uint Cleanup();

    [DllImport(Dll, EntryPoint = "_ORLAGetVersion@12", CallingConvention = CallingConvention.StdCall)]
    public static extern uint GetVersion(uint handle, out ushort major, out ushort minor);

    [DllImport(Dll, EntryPoint = "_ORLAGetLastError@4", CallingConvention = CallingConvention.StdCall)]
    public static extern uint GetLastError(out uint code);

    [DllImport(Dll, EntryPoint = "_ORLAGetLastErrorMsg@8",
               CallingConvention = CallingConvention.StdCall)]
    public static extern uint GetLastErrorMsg([Out] byte[] buffer, uint size);

    // The text in the form that the library requires: UTF-8 with a terminating zero.
    public static byte[] Bytes(string text)
    {
        return Encoding.UTF8.GetBytes(text + "\0");
    }

    // The text in a buffer that the library has filled. It has no terminating zero if it is full.
    public static string Text(byte[] buffer)
    {
        int end = Array.IndexOf(buffer, (byte)0);
        return Encoding.UTF8.GetString(buffer, 0, end < 0 ? buffer.Length : end);
    }

    // Replaces the characters that could control a terminal, because the server may send any bytes.
    public static string Printable(string text)
    {
        StringBuilder result = new StringBuilder();
        foreach (char c in text)
        {
            bool hidden = char.IsControl(c) || char.GetUnicodeCategory(c) == UnicodeCategory.Format ||
                          c == '\u2028' || c == '\u2029';
            result.Append(hidden ? '?' : c);
        }
        return result.ToString();
    }

    // The library sets no message for these, so its message would be that of an earlier failure.
    static readonly uint[] WithoutMessage = { 6, 11, 14, 24 };

    public static void Require(uint status, string call)
    {
        if (status == Ok) return;
        byte[] message = new byte[MessageSize];
        if (Array.IndexOf(WithoutMessage, status) < 0) GetLastErrorMsg(message, (uint)message.Length);
        throw new Exception(call + ": status " + status + ": " + Text(message));
    }
}

static class Agent
{
    static volatile bool canceled;

    static int Main(string[] args)
    {
        if (args.Length != 1 && args.Length != 3)
        {
            Console.Error.WriteLine("usage: Agent URL [TARGET FILE]");
            return 2;
        }
        if (IntPtr.Size != 4)
        {
            Console.Error.WriteLine("Agent must run as a 32-bit process: compile it for x86.");
            return 2;
        }
        Console.CancelKeyPress += delegate(object sender, ConsoleCancelEventArgs key)
        {
            key.Cancel = !canceled;  // The second Ctrl-C ends the process.
            canceled = true;
        };
        try
        {
            Orla.Require(Orla.Initialize(0, null), "ORLAInitialize");
            try
            {
                Run(args);
            }
            finally
            {
                Orla.Cleanup();
            }
            return 0;
        }
        catch (Exception error)
        {
            Console.Error.WriteLine(Orla.Printable(error.Message));
            return 1;
        }
    }

    static void Run(string[] args)
    {
        uint server;
        ushort major, minor;
        Orla.Require(Orla.Connect(Orla.Bytes(args[0]), Orla.Bytes(""), 0, out server), "ORLAConnect");
        Orla.Require(Orla.GetVersion(server, out major, out minor), "ORLAGetVersion");
        Console.WriteLine("The server has version {0}.{1}.", major, minor);
        Console.WriteLine("The name of the package is {0}.",
                          Orla.Printable(PackageName(server, 7, "ws0042", "inventory")));
        if (args.Length == 3) Download(server, args[1], args[2]);
        Orla.Disconnect(server);
    }

    static string PackageName(uint server, ushort type, params string[] identities)
    {
        byte[] name = new byte[1024];
        uint size = (uint)name.Length;
        // One element is added, because an empty array may be passed as a null pointer, which the
        // library refuses.
        GCHandle[] pins = new GCHandle[identities.Length];
        IntPtr[] pointers = new IntPtr[identities.Length + 1];
        for (int i = 0; i < identities.Length; ++i)
        {
            pins[i] = GCHandle.Alloc(Orla.Bytes(identities[i]), GCHandleType.Pinned);
            pointers[i] = pins[i].AddrOfPinnedObject();
        }
        try
        {
            Orla.Require(Orla.GetPackageName(server, type, (uint)identities.Length, pointers, name,
                                             ref size), "ORLAGetPackageName");
        }
        finally
        {
            foreach (GCHandle pin in pins) pin.Free();
        }
        return Orla.Text(name);
    }

    static void Download(uint server, string target, string path)
    {
        Exception failure = null;
        Orla.Progress progress = delegate(IntPtr record, IntPtr data, uint length)
        {
            try
            {
                Console.Error.WriteLine("{0} bytes",
                                        (uint)Marshal.ReadInt32(record, Orla.ByteCountOffset));
            }
            catch (Exception error)
            {
                failure = error;
            }
            if (canceled || failure != null)
                Marshal.WriteInt32(record, Orla.StatusOffset, (int)Orla.ProgressCancel);
        };
        // The library requires a path that contains a directory, with "\" as the separator.
        path = System.IO.Path.GetFullPath(path);
        IntPtr memory = Marshal.AllocHGlobal(Orla.RecordSize);
        try
        {
            uint status = Orla.DownloadFile(server, Orla.Bytes(target), path, progress, memory, null);
            GC.KeepAlive(progress);
            if (failure != null) throw failure;
            Orla.Require(status, "ORLADownloadFile");
            Console.WriteLine("{0}: {1} bytes", path,
                              (uint)Marshal.ReadInt32(memory, Orla.ByteCountOffset));
        }
        finally
        {
            Marshal.FreeHGlobal(memory);
        }
    }
}
