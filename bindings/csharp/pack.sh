#!/usr/bin/env bash
# Builds the .NET package of Veltra, OUTDIR/Veltra.Net.VERSION.nupkg: the managed assembly
# Veltra.Net.dll (with its XML documentation) for netstandard2.0, and the host-interface library
# for linux-x64 and win-x64 under runtimes/, where the runtime finds a package's native assets.
# scripts/package.sh calls it with the libraries it built or was given.
#
# There is no .NET SDK here: Debian's mono compiler (mcs) builds the assembly against mono's
# reference assemblies of .NET Framework 4.7.2. It therefore references mscorlib rather than
# netstandard; it uses only types that netstandard2.0 has, and .NET (Core) runtimes resolve
# mscorlib to their own types, so netstandard2.0 consumers load it. A developer with an SDK can
# build the same package from Veltra.Net.csproj.
#
# Usage: pack.sh VERSION LINUX_LIB WINDOWS_DLL OUTDIR
#   VELTRA_LICENSE: the package's license expression. The project states no license yet, so the
#   package says UNLICENSED (no rights granted) unless this names one.
set -euo pipefail
[ $# = 4 ] || { echo "usage: pack.sh VERSION LINUX_LIB WINDOWS_DLL OUTDIR" >&2; exit 2; }
version=$1 linux=$2 windows=$3 out=$4
here=$(cd "$(dirname "$0")" && pwd)
references=/usr/lib/mono/4.7.2-api
license=${VELTRA_LICENSE:-UNLICENSED}
for library in "$linux" "$windows"; do
  [ -n "$library" ] && [ -f "$library" ] ||
    { echo "pack.sh: the package needs both native libraries; missing: '$library'" >&2; exit 1; }
done
[ -f "$references/mscorlib.dll" ] || { echo "pack.sh: no $references (Debian: mono-devel)" >&2; exit 1; }

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
lib=$stage/package/lib/netstandard2.0
mkdir -p "$lib" "$stage/package/_rels" "$stage/package/runtimes/linux-x64/native" \
    "$stage/package/runtimes/win-x64/native"

# The assembly's version attributes, as the SDK derives them from <Version>.
cat >"$stage/AssemblyInfo.cs" <<EOF
[assembly: System.Reflection.AssemblyTitle("Veltra.Net")]
[assembly: System.Reflection.AssemblyVersion("$version.0")]
[assembly: System.Reflection.AssemblyFileVersion("$version.0")]
[assembly: System.Reflection.AssemblyInformationalVersion("$version")]
EOF
mcs -target:library -langversion:7.2 -optimize+ -warnaserror -nostdlib -r:"$references/mscorlib.dll" \
    -doc:"$lib/Veltra.Net.xml" -out:"$lib/Veltra.Net.dll" "$here/Veltra.cs" "$stage/AssemblyInfo.cs"

# cp follows a symbolic link (libVeltraHost.so -> libVeltraHost.so.2 -> ...) to the library itself.
cp "$linux" "$stage/package/runtimes/linux-x64/native/libVeltraHost.so"
cp "$windows" "$stage/package/runtimes/win-x64/native/VeltraHost.dll"

cat >"$stage/package/Veltra.Net.nuspec" <<EOF
<?xml version="1.0" encoding="utf-8"?>
<package xmlns="http://schemas.microsoft.com/packaging/2013/05/nuspec.xsd">
  <metadata>
    <id>Veltra.Net</id>
    <version>$version</version>
    <title>Veltra for .NET</title>
    <authors>Veltra</authors>
    <description>Veltra, a naive Bayes categorisation engine: fields classified by their test results. The engine object over the native host interface, which the package carries for linux-x64 and win-x64.</description>
    <license type="expression">$license</license>
    <tags>naive-bayes classification</tags>
    <dependencies>
      <group targetFramework=".NETStandard2.0" />
    </dependencies>
  </metadata>
</package>
EOF
cat >"$stage/package/[Content_Types].xml" <<'EOF'
<?xml version="1.0" encoding="utf-8"?>
<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">
  <Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml" />
  <Default Extension="nuspec" ContentType="application/octet" />
  <Default Extension="dll" ContentType="application/octet" />
  <Default Extension="xml" ContentType="application/octet" />
  <Default Extension="so" ContentType="application/octet" />
</Types>
EOF
cat >"$stage/package/_rels/.rels" <<'EOF'
<?xml version="1.0" encoding="utf-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">
  <Relationship Type="http://schemas.microsoft.com/packaging/2010/07/manifest" Target="/Veltra.Net.nuspec" Id="R0" />
</Relationships>
EOF

# A zip of files only (-D: no directory entries, which NuGet does not write either), without the
# file system's extra attributes (-X).
mkdir -p "$out"
package=$(realpath -m "$out/Veltra.Net.$version.nupkg")
rm -f "$package"
(cd "$stage/package" && zip -q -X -D -r "$package" .)
