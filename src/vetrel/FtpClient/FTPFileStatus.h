#ifndef VETREL_FTPFILESTATUS_H
#define VETREL_FTPFILESTATUS_H

#include "FTPDataTypes.h"

#include <vetrel/vetrel_export.h>

namespace nsFTP
{

/** One entry of a directory listing, as far as its line told. */
class VETREL_EXPORT CFTPFileStatus
{
public:
    enum TSizeType
    {
        stUnknown = 0,
        stBinary = 1
    };
    /** Remote times are exact seconds (EPLF); local ones are server-local and only to the minute or day. */
    enum TMTimeType
    {
        mttUnknown = 0,
        mttRemoteSeconds = 1,
        mttLocalMinute = 2,
        mttLocalDay = 3
    };
    enum TIDType
    {
        idUnknown = 0,
        idFull = 1
    };

    CFTPFileStatus();

    /** Back to the state of a new status: nothing known. */
    void Reset();

    bool operator==(const CFTPFileStatus &rhs) const;
    bool operator!=(const CFTPFileStatus &rhs) const { return !operator==(rhs); }

    const tstring &Name() const { return m_strName; }
    const tstring &Path() const { return m_strPath; }
    /** A directory or a link: CWD may enter it. */
    bool IsCwdPossible() const { return m_fTryCwd; }
    /** A file or a link: RETR may fetch it. */
    bool IsRetrPossible() const { return m_fTryRetr; }
    int SizeType() const { return m_iSizeType; }
    long Size() const { return m_lSize; }
    int MTimeType() const { return m_iModificationTimeType; }
    /** Seconds since the epoch; see MTimeType for how exact. */
    long MTime() const { return m_lModificationTime; }
    const tstring &Attributes() const { return m_strAttributes; }
    const tstring &UID() const { return m_strUID; }
    const tstring &GID() const { return m_strGID; }
    const tstring &Link() const { return m_strLink; }
    int IDType() const { return m_iIDType; }
    const tstring &ID() const { return m_strID; }

    void SetName(const tstring &strName) { m_strName = strName; }
    void SetPath(const tstring &strPath) { m_strPath = strPath; }

private:
    friend class CFTPListParser;
    friend class CFTPMlsdParser;

    tstring m_strName;
    tstring m_strPath;
    bool m_fTryCwd;
    bool m_fTryRetr;
    int m_iSizeType;
    long m_lSize;
    int m_iModificationTimeType;
    long m_lModificationTime;
    tstring m_strAttributes;
    tstring m_strUID;
    tstring m_strGID;
    tstring m_strLink;
    int m_iIDType;
    tstring m_strID;
};

}

#endif
