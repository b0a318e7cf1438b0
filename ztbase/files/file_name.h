// CXFileName: a file name as the user wrote it, checked and split into its parts: the kind of name, the
// drive or server, whether it is rooted, the directories, the final file name and whether it holds
// wildcards. Besides drive, rooted, relative and network (\\server\share) names it knows four prefixed
// kinds that name things other than disk files: "HTTP:", "FTP:", "SOCKET:" and "TTPIPE:".
//
// "/" is accepted wherever a backslash is, so native paths such as /tmp/work/a.txt are valid rooted
// names; the parts and the names built from them always use backslashes. The root is the drive on POSIX,
// so a rooted name without a drive is complete as it stands.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/str.h"

namespace ZtBase {

// The kinds of name. The numbers are stored and compared by callers.
enum EFileNameKind {
    eFileNameNoDrive = 0,   // relative name, or rooted name without a drive
    eFileNameDrive = 1,     // a drive letter and ":" ("C:\data\x.txt", "C:x")
    eFileNameNetwork = 2,   // \\server\share...
    eFileNameReserved = 3,  // never produced by the parser; built like kinds 1 and 2
    eFileNameHttp = 4,      // "HTTP:" prefix
    eFileNameFtp = 5,       // "FTP:" prefix
    eFileNameSocket = 6,    // "SOCKET:" prefix: host as the one directory, port as the file name
    eFileNamePipe = 7       // "TTPIPE:" prefix: thread-to-thread pipe
};

class ZTBASE_API CXFileName {
public:
    // An empty name: kind 0, not valid.
    CXFileName();
    // Parses the name. Parsing never raises: a bad name only clears the valid flag.
    explicit CXFileName(const CStr& name);
    CXFileName(const CXFileName&) = default;
    CXFileName& operator=(const CXFileName&) = default;

    // ---- the parts ------------------------------------------------------------------------------
    int GetKind() const noexcept { return m_kind; }
    // Kind 1: the drive with its colon ("C:"); kind 2: "\\server\share" without a final backslash;
    // prefixed kinds: "http", "ftp", "socket", "TTPipe"; otherwise empty.
    const CStr& GetDrive() const noexcept { return m_drive; }
    unsigned char IsRooted() const noexcept { return m_rooted; }
    unsigned char IsValid() const noexcept { return m_valid; }
    unsigned char HasWildcards() const noexcept { return m_hasWildcards; }
    // The path components in order, without separators (kind 6: the host).
    const ZtRefArray<CStr>& GetDirectories() const noexcept { return m_directories; }

    // ---- names built from the parts -------------------------------------------------------------
    // Kinds 1-3: drive, a backslash when rooted or kind 2, each directory followed by a backslash, the
    // file name. Kind 0: "\" + directories + file name when rooted, else empty (a relative name has no
    // complete form until CombineDefaultPath). Kinds 4, 5: "http://" or "ftp://" + file name. Kind 6:
    // "socket:" + host + ":" + port. Kind 7: empty.
    CStr GetCompleteFileName() const;
    // The complete name without the file name (the directory with its final backslash); empty when there
    // is no complete name.
    CStr GetPath() const;
    // The last component only ("x.txt" of "C:\data\x.txt"), which is what container members are named by;
    // the two names are one operation.
    const CStr& GetFileName() const noexcept { return m_fileName; }
    const CStr& GetFileNameWithoutPath() const noexcept { return m_fileName; }
    // The last component without its extension and the "." before it ("a.tar.gz" -> "a.tar").
    CStr GetFileNameWithoutExtension() const;
    // The text after the last "." of the last component; empty when it has none.
    CStr GetExtension() const;
    // Replaces the extension (a leading "." in ext is ignored); an empty ext removes the extension and
    // its ".". Characters that are not file letters clear the valid flag; "*" and "?" set has-wildcards.
    void SetExtension(const CStr& ext);

    // Completes a name from a default path (whose own file name is ignored). A relative kind-0 name takes
    // the default's kind, drive, rootedness and directories, keeping its own directories after them; a
    // rooted kind-0 name takes only the default's kind and drive. A kind-1 name without root takes the
    // root and directories of a default on the same drive (letters compared without case). Network
    // names, rooted drive names and kinds 4 to 7 are left alone, as is everything when the default is not
    // a valid name of kind 0 to 3.
    void CombineDefaultPath(const CXFileName& defaultPath);

    // ---- character classes ----------------------------------------------------------------------
    // A to Z and a to z.
    static unsigned char IsValidDriveLetter(char c) noexcept;
    // Every byte except the controls 0-31, DEL and  " & * , / : ; < = > ? \ ^ |
    static unsigned char IsValidFileLetter(char c) noexcept;
    // "*" and "?".
    static unsigned char IsValidMetaCharacter(char c) noexcept;
    // A backslash, or "/" which this library accepts as one.
    static unsigned char IsSeparator(char c) noexcept { return c == '\\' || c == '/'; }

    // ---- native paths ---------------------------------------------------------------------------
    // The native path of a name: backslashes become "/". Only valid kind-0 names have one; drive and
    // network names (and the prefixed kinds) have no native meaning and give an empty string.
    static CStr ToNativePath(const CStr& name);
    // A native path in this library's form: "/" becomes a backslash.
    static CStr FromNativePath(const CStr& nativePath);

private:
    void Parse(const CStr& name);
    void HandleHTTP(const CStr& name);
    void HandleFTP(const CStr& name);
    void HandleSocket(const CStr& name);
    void HandleTTPipe(const CStr& name);
    // The directories, each followed by a backslash.
    CStr JoinedDirectories() const;

    int m_kind;
    CStr m_drive;
    unsigned char m_rooted;
    unsigned char m_valid;
    unsigned char m_hasWildcards;
    ZtRefArray<CStr> m_directories;
    CStr m_fileName;
};

}  // namespace ZtBase
