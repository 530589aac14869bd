// Files, directories, paths and the operating system.
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"
#include "kb/platform/Files.h"
#include "kb/platform/System.h"

namespace kb::standard {
namespace {

std::string PathArgument(const TFunctionCall& call, int index, TKBContext& context) {
  return TextArgument(call, index, context).ToString();
}

// An option counts only when it is given and is the very symbol TRUE.
bool IsSwitchedOn(const TFunctionCall& call, int index, TKBContext& context) {
  return call.GetArgumentCount() > index && IsConstant(call.Evaluate(index, context), FCTrue);
}

// TRUE when the work is done, FALSE for whatever goes wrong with it; only `exit` passes.
template <class Work>
IKBValue Succeeds(Work&& work) {
  try {
    work();
    return FCTrue;
  } catch (const EAbort&) {
    throw;
  } catch (const std::exception&) {
    return FCFalse;
  }
}

// The bodies of the families that differ by the operation alone.

template <auto Operation>
IKBValue TextOfPath(TFunctionCall& call, TKBContext& context) {
  return MakeString(std::string(Operation(PathArgument(call, 0, context))));
}

template <auto Operation>
IKBValue TextOfTwo(TFunctionCall& call, TKBContext& context) {
  const std::string name = PathArgument(call, 0, context);
  return MakeString(Operation(name, PathArgument(call, 1, context)));
}

template <auto Operation>
IKBValue IsTrueOfPath(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(Operation(PathArgument(call, 0, context)));
}

template <auto Operation>
IKBValue OnePath(TFunctionCall& call, TKBContext& context) {
  return Succeeds([&] { Operation(PathArgument(call, 0, context)); });
}

template <auto Operation>
IKBValue TwoPaths(TFunctionCall& call, TKBContext& context) {
  return Succeeds([&] {
    const std::string from = PathArgument(call, 0, context);
    Operation(from, PathArgument(call, 1, context));
  });
}

template <files::TEntries Kind>
IKBValue Entries(TFunctionCall& call, TKBContext& context) {
  const std::string path = PathArgument(call, 0, context);
  const std::string pattern = call.GetArgumentCount() > 1 ? PathArgument(call, 1, context) : "*";
  auto list = MakeRef<TValueVector>();
  for (const std::string& name : files::ListDirectory(path, Kind, pattern)) list->Add(MakeString(name));
  return MakeRef<TKBValue>(list);
}

template <auto Member>
IKBValue VersionNumber(TFunctionCall& /*call*/, TKBContext& /*context*/) {
  return MakeInteger(GetOSVersion().*Member);
}

template <auto Member>
IKBValue VersionWord(TFunctionCall& /*call*/, TKBContext& /*context*/) {
  return MakeAtom(GetOSVersion().*Member);
}

template <std::string (*Operation)()>
IKBValue PlainText(TFunctionCall& /*call*/, TKBContext& /*context*/) {
  return MakeString(Operation());
}

std::string OSName() { return GetOSVersion().name; }

IKBValue CopyFileFunction(TFunctionCall& call, TKBContext& context) {
  return Succeeds([&] {
    const std::string from = PathArgument(call, 0, context);
    const std::string to = PathArgument(call, 1, context);
    files::CopyFile(from, to, IsSwitchedOn(call, 2, context));
  });
}

// A directory in the new name is ignored.
IKBValue RenameFileFunction(TFunctionCall& call, TKBContext& context) {
  return Succeeds([&] {
    const std::string from = PathArgument(call, 0, context);
    files::MoveFile(from, files::ChangeFilePath(PathArgument(call, 1, context), files::ExtractFilePath(from)));
  });
}

IKBValue DeleteDirectoryFunction(TFunctionCall& call, TKBContext& context) {
  return Succeeds([&] {
    const std::string path = PathArgument(call, 0, context);
    files::DeleteDirectory(path, IsSwitchedOn(call, 1, context));
  });
}

IKBValue SetCurrentDirectoryFunction(TFunctionCall& call, TKBContext& context) {
  files::SetCurrentDirectory(PathArgument(call, 0, context));
  return MakeString(files::CurrentDirectory());
}

IKBValue DirectoryDelimiterFunction(TFunctionCall& /*call*/, TKBContext& /*context*/) {
  return MakeAtom(std::string(1, files::DirectoryDelimiter()));
}

const TBuiltin kFileFunctions[] = {
    {"get-current-dir", "", 0, 0, "Returns the current directory of the process", PlainText<files::CurrentDirectory>},
    {"set-current-dir", "<string-expression>", 1, 1, "Changes the current directory of the process and returns it",
     SetCurrentDirectoryFunction},
    {"get-files", "<path-expression>[ <search-pattern-expression>]", 1, 2,
     "Returns the files of the directory, sorted, each with its path; in a pattern * stands for any characters and ? "
     "for one",
     Entries<files::TEntries::Files>},
    {"get-dirs", "<path-expression>[ <search-pattern-expression>]", 1, 2,
     "Returns the directories in the directory, sorted, each with its path; in a pattern * stands for any characters "
     "and ? for one",
     Entries<files::TEntries::Directories>},
    {"get-parent-dir", "<path-expression>", 1, 1, "Returns the directory above, as an absolute path",
     TextOfPath<files::ParentDirectory>},
    {"get-root-dir", "<path-expression>", 1, 1, "Returns the root of the path", TextOfPath<files::RootDirectory>},
    {"is-dir-empty", "<path-expression>", 1, 1, "Returns TRUE if the directory holds nothing",
     IsTrueOfPath<files::IsDirectoryEmpty>},
    {"is-dir-exists", "<path-expression>", 1, 1, "Returns TRUE if there is a directory of that name",
     IsTrueOfPath<files::DirectoryExists>},
    {"create-dir", "<path-expression>", 1, 1,
     "Makes the directory, with those above it that are missing. Returns TRUE, or FALSE on failure",
     OnePath<files::CreateDirectory>},
    {"copy-dir", "<from-path-expression> <to-path-expression>", 2, 2,
     "Copies the directory with its contents. Returns TRUE, or FALSE on failure, such as for a file that exists "
     "already",
     TwoPaths<files::CopyDirectory>},
    {"move-dir", "<from-path-expression> <to-path-expression>", 2, 2,
     "Moves the directory to a name that does not exist. Returns TRUE, or FALSE on failure",
     TwoPaths<files::MoveDirectory>},
    {"delete-dir", "<path-expression>[ <recursive-boolean-expression>]", 1, 2,
     "Removes the directory, which must be empty unless the second argument is TRUE. Returns TRUE, or FALSE on failure",
     DeleteDirectoryFunction},
    {"dir-delim", "", 0, 0, "Returns the character that separates directories in a path", DirectoryDelimiterFunction},

    {"is-file-exists", "<filename-expression>", 1, 1, "Returns TRUE if there is a file of that name",
     IsTrueOfPath<files::FileExists>},
    {"copy-file", "<from-filename-expression> <to-filename-expression>[ <overwrite-boolean-expression>]", 2, 3,
     "Copies the file; one that exists is replaced only if the third argument is TRUE. Returns TRUE, or FALSE on "
     "failure",
     CopyFileFunction},
    {"delete-file", "<filename-expression>", 1, 1, "Removes the file. Returns TRUE, or FALSE on failure",
     OnePath<files::DeleteFile>},
    {"move-file", "<source-filename-expression> <dest-filename-expression>", 2, 2,
     "Moves the file to a name that does not exist. Returns TRUE, or FALSE on failure", TwoPaths<files::MoveFile>},
    {"rename-file", "<old-filename-expression> <new-filename-expression>", 2, 2,
     "Gives the file another name in its directory. Returns TRUE, or FALSE on failure", RenameFileFunction},
    {"get-file-ext", "<filename-expression>", 1, 1, "Returns the extension of the name, with its dot",
     TextOfPath<files::ExtractFileExt>},
    {"get-filename", "<filename-expression>", 1, 1, "Returns the name without its directory",
     TextOfPath<files::ExtractFileName>},
    {"get-file-path", "<filename-expression>", 1, 1, "Returns the directory part of the name, with its last delimiter",
     TextOfPath<files::ExtractFilePath>},
    {"change-file-ext", "<filename-expression> <extension-expression>", 2, 2,
     "Returns the name with another extension, given with its dot; no file is touched",
     TextOfTwo<files::ChangeFileExt>},
    {"change-file-path", "<filename-expression> <path-expression>", 2, 2,
     "Returns the name in another directory; no file is touched", TextOfTwo<files::ChangeFilePath>},

    {"get-os-name", "", 0, 0, "Returns the name of the operating system with its version", PlainText<OSName>},
    {"get-os-architecture", "", 0, 0, "Returns the kind of processor: IntelX86, IntelX64, ARM32 or ARM64",
     VersionWord<&TOSVersion::architecture>},
    {"get-os-platform", "", 0, 0, "Returns the kind of operating system: Linux, MacOS or Windows",
     VersionWord<&TOSVersion::platform>},
    {"get-os-build-version", "", 0, 0, "Returns the third number of the version of the system, on Linux of its kernel",
     VersionNumber<&TOSVersion::build>},
    {"get-os-major-version", "", 0, 0, "Returns the first number of the version of the system, on Linux of its kernel",
     VersionNumber<&TOSVersion::major>},
    {"get-os-minor-version", "", 0, 0, "Returns the second number of the version of the system, on Linux of its kernel",
     VersionNumber<&TOSVersion::minor>},

    {"get-home-path", "", 0, 0, "Returns the home directory of the user", PlainText<GetHomePath>},
    {"get-documents-path", "", 0, 0, "Returns the directory for the user's documents", PlainText<GetDocumentsPath>},
    {"get-temp-path", "", 0, 0, "Returns the directory for temporary files", PlainText<GetTempPath>},
};

}  // namespace

std::span<const TBuiltin> FileFunctions() noexcept { return kFileFunctions; }

// These two report a refusal of the file system only; an argument that fails raises.
IKBValue RemoveFile(TFunctionCall& call, TKBContext& context) {
  const std::string name = PathArgument(call, 0, context);
  return Succeeds([&] { files::DeleteFile(name); });
}

IKBValue RenameAny(TFunctionCall& call, TKBContext& context) {
  const std::string to = PathArgument(call, 1, context);
  const std::string from = PathArgument(call, 0, context);
  return Succeeds([&] { files::Rename(from, to); });
}

}  // namespace kb::standard
