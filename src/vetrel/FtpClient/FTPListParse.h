#ifndef VETREL_FTPLISTPARSE_H
#define VETREL_FTPLISTPARSE_H

#include "FTPClient.h"
#include "FTPFileStatus.h"

#include <vetrel/vetrel_export.h>

struct tm;

namespace nsFTP
{

/**
 * Understands one line of a LIST reply in EPLF, UNIX long-listing, MultiNet
 * (VMS) or MS-DOS form. Times are computed on a day count of its own
 * (ToTAI) and mapped to seconds since the epoch by a fixed offset.
 *
 * Any byte sequence is safe to hand in: the parser reads only within the
 * line and saturates instead of overflowing on absurd numbers.
 */
class VETREL_EXPORT CFTPListParser : public CFTPClient::IFileListParser
{
public:
    CFTPListParser();
    ~CFTPListParser() override;

    /** Fills ftpFileStatus from the line; false (and a reset status) when the line is not understood. */
    bool Parse(CFTPFileStatus &ftpFileStatus, const tstring &strLineToParse) override;

    /** Seconds of the day count for a date; the month counts from 0 (January). */
    static long ToTAI(long lYear, long lMonth, long lMDay);
    /**
     * The day count in seconds for a date given without year, as UNIX
     * listings show recent files: the first year from last year on in which
     * the date lies less than 350 days before now.
     */
    long GuessTAI(long lMonth, long lMDay);
    /** 0 to 11 for "jan" to "dec" in any case, -1 for anything else. */
    static int GetMonth(const char *pBuffer, int iLength);
    /** The decimal number of the first iLength characters; false unless all are digits and it fits. */
    static bool GetLong(const char *pLong, int iLength, long &lResult);
    static void GmTime(tm &tmResult, const long &lSeconds);

private:
    long GetYear();
    bool ParseEPLF(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd) const;
    bool ParseUNIXStyle(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd);
    bool SetUNIXTime(CFTPFileStatus &ftpFileStatus, const char *pField, int iLength, long lMonth, long lDay);
    static bool SetUNIXName(
        CFTPFileStatus &ftpFileStatus, const char *pAfterTime, const char *pEnd, bool fLink);
    bool ParseMultiNet(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd) const;
    bool ParseMSDOS(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd) const;

    long m_lTimeOffset;
    long m_lCurrentYear = -1;
};

}

#endif
