#include "ztbase/files/file_name.h"

namespace ZtBase {

namespace {

// The index of the last "." in s, or -1.
int LastDot(const CStr& s) {
    for (unsigned i = s.Length(); i > 0; --i)
        if (s[i - 1] == '.') return static_cast<int>(i - 1);
    return -1;
}

// s with every from character replaced by to.
CStr ReplaceChar(const CStr& s, char from, char to) {
    CStr r;
    r.Assure(s.Length());
    for (char c : s) r += c == from ? to : c;
    return r;
}

}  // namespace

CXFileName::CXFileName() : m_kind(eFileNameNoDrive), m_rooted(0), m_valid(0), m_hasWildcards(0) {}

CXFileName::CXFileName(const CStr& name) : CXFileName() {
    Parse(name);
}

// ---- character classes ------------------------------------------------------------------------------

unsigned char CXFileName::IsValidDriveLetter(char c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ? 1 : 0;
}

unsigned char CXFileName::IsValidFileLetter(char c) noexcept {
    const unsigned char u = static_cast<unsigned char>(c);
    if (u < 32 || u == 127) return 0;
    switch (c) {
        case '"':
        case '&':
        case '*':
        case ',':
        case '/':
        case ':':
        case ';':
        case '<':
        case '=':
        case '>':
        case '?':
        case '\\':
        case '^':
        case '|':
            return 0;
        default:
            return 1;
    }
}

unsigned char CXFileName::IsValidMetaCharacter(char c) noexcept {
    return c == '*' || c == '?' ? 1 : 0;
}

// ---- parsing ----------------------------------------------------------------------------------------

void CXFileName::Parse(const CStr& name) {
    m_kind = eFileNameNoDrive;
    m_drive.Blank();
    m_rooted = 0;
    m_valid = 1;
    m_hasWildcards = 0;
    m_directories.clear();
    m_fileName.Blank();

    if (name.AtStart(CStr("HTTP:"), eIgnoreCase)) return HandleHTTP(name);
    if (name.AtStart(CStr("FTP:"), eIgnoreCase)) return HandleFTP(name);
    if (name.AtStart(CStr("SOCKET:"), eIgnoreCase)) return HandleSocket(name);
    if (name.AtStart(CStr("TTPIPE:"), eIgnoreCase)) return HandleTTPipe(name);

    // States: 0 start, 1 after one separator, 2 in the server, 3 in the share, 4 after a first letter,
    // 5 after "X:", 6 at the start of a component, 7 in a component. Each character is appended to the
    // token (separators as backslashes) before it is handled; a character that is "stepped back" is
    // handled, and appended, again in the new state.
    CStr token;
    int state = 0;
    const unsigned len = name.Length();
    unsigned i = 0;
    while (i < len && m_valid) {
        const char c = name[i];
        const bool sep = IsSeparator(c);
        token += sep ? '\\' : c;
        bool stepBack = false;
        switch (state) {
            case 0:
                if (sep) {
                    state = 1;
                } else if (IsValidDriveLetter(c)) {
                    state = 4;
                } else if (IsValidFileLetter(c) || IsValidMetaCharacter(c)) {
                    token.Blank();
                    stepBack = true;
                    m_rooted = 0;
                    state = 6;
                } else {
                    m_valid = 0;
                }
                break;
            case 1:
                if (sep) {
                    state = 2;
                } else if (IsValidFileLetter(c) || IsValidMetaCharacter(c)) {
                    stepBack = true;
                    m_rooted = 1;
                    m_drive.Blank();
                    token.Blank();
                    state = 6;
                } else {
                    m_valid = 0;
                }
                break;
            case 2:
                if (sep) {
                    if (token.Length() == 3)  // three separators: no server
                        m_valid = 0;
                    else
                        state = 3;
                } else if (!IsValidFileLetter(c)) {
                    m_valid = 0;
                }
                break;
            case 3:
                if (sep) {
                    if (token.LastChar(1) == '\\') {  // no share
                        m_valid = 0;
                    } else {
                        m_kind = eFileNameNetwork;
                        m_drive = token.Copy(0, token.Length() - 1);
                        token.Blank();
                        state = 6;
                    }
                } else if (!IsValidFileLetter(c)) {
                    m_valid = 0;
                }
                break;
            case 4:
                if (c == ':') {
                    m_kind = eFileNameDrive;
                    m_drive = token;
                    token.Blank();
                    state = 5;
                } else {
                    token = token.Copy(0, 1);
                    stepBack = true;
                    state = 6;
                }
                break;
            case 5:
                if (sep) {
                    m_rooted = 1;
                    token.Blank();
                } else {
                    token.Blank();
                    m_rooted = 0;
                    stepBack = true;
                }
                state = 6;
                break;
            case 6:
                if (IsValidFileLetter(c)) {
                    state = 7;
                } else if (IsValidMetaCharacter(c)) {
                    m_hasWildcards = 1;
                    state = 7;
                } else {
                    m_valid = 0;
                }
                break;
            default:  // 7
                if (IsValidMetaCharacter(c)) {
                    m_hasWildcards = 1;
                } else if (sep) {
                    if (m_hasWildcards) {  // only the last component may hold wildcards
                        m_valid = 0;
                    } else {
                        m_directories.push_back(token.Copy(0, token.Length() - 1));
                        token.Blank();
                        state = 6;
                    }
                } else if (!IsValidFileLetter(c)) {
                    m_valid = 0;
                }
                break;
        }
        if (!stepBack) ++i;
    }
    if (!m_valid) return;

    auto allFiles = [this] {
        m_fileName = "*";
        m_hasWildcards = 1;
    };
    switch (state) {
        case 0:  // empty name
        case 2:  // two separators and nothing else
            m_valid = 0;
            break;
        case 1:  // a lone separator
            m_rooted = 1;
            allFiles();
            break;
        case 3:
            if (token.LastChar() == '\\') {
                m_valid = 0;
            } else {
                m_kind = eFileNameNetwork;
                m_drive = token;
                m_rooted = 0;
                allFiles();
            }
            break;
        case 4:  // a single letter
            m_kind = eFileNameNoDrive;
            m_fileName = token;
            break;
        case 5:
        case 6:
            allFiles();
            break;
        default:  // 7
            if (token.Length() == 0)
                allFiles();
            else
                m_fileName = token;
            break;
    }
}

void CXFileName::HandleHTTP(const CStr& name) {
    m_kind = eFileNameHttp;
    m_drive = "http";
    m_directories.clear();
    if (name[5u] != '/' || name[6u] != '/') m_valid = 0;
    m_fileName = name.Copy(7);
}

void CXFileName::HandleFTP(const CStr& name) {
    m_kind = eFileNameFtp;
    m_drive = "ftp";
    m_directories.clear();
    if (name[4u] != '/' || name[5u] != '/') m_valid = 0;
    m_fileName = name.Copy(6);
}

void CXFileName::HandleSocket(const CStr& name) {
    m_kind = eFileNameSocket;
    m_drive = "socket";
    m_directories.clear();
    CStr host;
    unsigned i = 7;
    while (i < name.Length() && name[i] != ':') host += name[i++];
    m_directories.push_back(host);
    m_fileName = i < name.Length() ? name.Copy(i + 1) : CStr();
}

void CXFileName::HandleTTPipe(const CStr& name) {
    m_kind = eFileNamePipe;
    m_drive = "TTPipe";
    m_directories.clear();
    m_fileName = name.Copy(7);
}

// ---- names built from the parts ---------------------------------------------------------------------

CStr CXFileName::JoinedDirectories() const {
    CStr r;
    for (const CStr& d : m_directories) {
        r += d;
        r += '\\';
    }
    return r;
}

CStr CXFileName::GetCompleteFileName() const {
    switch (m_kind) {
        case eFileNameNoDrive:
            if (!m_rooted) return CStr();
            return '\\' + JoinedDirectories() + m_fileName;
        case eFileNameDrive:
        case eFileNameNetwork:
        case eFileNameReserved: {
            CStr r = m_drive;
            if (m_rooted || m_kind == eFileNameNetwork) r += '\\';
            r += JoinedDirectories();
            r += m_fileName;
            return r;
        }
        case eFileNameHttp:
        case eFileNameFtp:
            return m_drive + "://" + m_fileName;
        case eFileNameSocket:
            return CStr("socket:") + (m_directories.empty() ? CStr() : m_directories.front()) + ':' +
                   m_fileName;
        default:
            return CStr();
    }
}

CStr CXFileName::GetPath() const {
    const CStr complete = GetCompleteFileName();
    if (complete.Length() == 0) return CStr();
    return complete.Copy(0, complete.Length() - m_fileName.Length());
}

CStr CXFileName::GetFileNameWithoutExtension() const {
    const int dot = LastDot(m_fileName);
    return dot < 0 ? m_fileName : m_fileName.Copy(0, static_cast<unsigned>(dot));
}

CStr CXFileName::GetExtension() const {
    const int dot = LastDot(m_fileName);
    return dot < 0 ? CStr() : m_fileName.Copy(static_cast<unsigned>(dot) + 1);
}

void CXFileName::SetExtension(const CStr& ext) {
    const CStr e = ext[0u] == '.' ? ext.Copy(1) : ext;
    CStr name = GetFileNameWithoutExtension();
    if (e.Length() != 0) {
        name += '.';
        name += e;
        for (char c : e) {
            if (IsValidMetaCharacter(c))
                m_hasWildcards = 1;
            else if (!IsValidFileLetter(c))
                m_valid = 0;
        }
    }
    m_fileName = name;
}

void CXFileName::CombineDefaultPath(const CXFileName& defaultPath) {
    const CXFileName& d = defaultPath;
    if (!d.m_valid || d.m_kind > eFileNameReserved) return;
    auto takeDirectories = [this, &d] {
        ZtRefArray<CStr> dirs(d.m_directories.begin(), d.m_directories.end());
        dirs.insert(dirs.end(), m_directories.begin(), m_directories.end());
        m_directories = dirs;
        m_rooted = d.m_rooted;
    };
    if (m_kind == eFileNameNoDrive) {
        if (!m_rooted) takeDirectories();
        m_kind = d.m_kind;
        m_drive = d.m_drive;
    } else if (m_kind == eFileNameDrive && !m_rooted && d.m_kind == eFileNameDrive &&
               m_drive.Compare(d.m_drive, eIgnoreCase) == eEqual) {
        takeDirectories();
    }
}

// ---- native paths -----------------------------------------------------------------------------------

CStr CXFileName::ToNativePath(const CStr& name) {
    const CXFileName parsed(name);
    if (!parsed.IsValid() || parsed.GetKind() != eFileNameNoDrive) return CStr();
    return ReplaceChar(name, '\\', '/');
}

CStr CXFileName::FromNativePath(const CStr& nativePath) {
    return ReplaceChar(nativePath, '/', '\\');
}

}  // namespace ZtBase
