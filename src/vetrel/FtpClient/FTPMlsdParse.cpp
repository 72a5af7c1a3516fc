#include "FTPMlsdParse.h"

#include <algorithm>
#include <cctype>
#include <climits>

namespace nsFTP
{

namespace
{

    tstring Lower(tstring strText)
    {
        std::transform(strText.begin(), strText.end(), strText.begin(),
            [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return strText;
    }

    bool IsDigits(const tstring &strText, size_t nPos, size_t nLength)
    {
        return nPos + nLength <= strText.size()
            && std::all_of(strText.begin() + static_cast<long>(nPos),
                strText.begin() + static_cast<long>(nPos + nLength),
                [](unsigned char c) { return std::isdigit(c) != 0; });
    }

    bool ReadSize(const tstring &strValue, long &lSize)
    {
        if (strValue.empty() || strValue.size() > 18 || !IsDigits(strValue, 0, strValue.size()))
            return false;
        lSize = std::stol(strValue);
        return true;
    }

    // Days from 1970-01-01 to a date of the proleptic Gregorian calendar.
    long DaysSinceEpoch(long lYear, long lMonth, long lDay)
    {
        lYear -= lMonth <= 2 ? 1 : 0;
        const long lEra = (lYear >= 0 ? lYear : lYear - 399) / 400;
        const long lYearOfEra = lYear - lEra * 400;
        const long lDayOfYear = (153 * (lMonth + (lMonth > 2 ? -3 : 9)) + 2) / 5 + lDay - 1;
        const long lDayOfEra = lYearOfEra * 365 + lYearOfEra / 4 - lYearOfEra / 100 + lDayOfYear;
        return lEra * 146097 + lDayOfEra - 719468;
    }

    // "YYYYMMDDHHMMSS" with an optional fraction of a second, in UTC.
    bool ReadTime(const tstring &strValue, long &lSeconds)
    {
        if (!IsDigits(strValue, 0, 14) || (strValue.size() > 14 && strValue[14] != '.'))
            return false;
        const auto field
            = [&strValue](size_t nPos, size_t nLength) { return std::stol(strValue.substr(nPos, nLength)); };
        const long lMonth = field(4, 2), lDay = field(6, 2), lHour = field(8, 2), lMinute = field(10, 2),
                   lSecond = field(12, 2);
        if (lMonth < 1 || lMonth > 12 || lDay < 1 || lDay > 31 || lHour > 23 || lMinute > 59 || lSecond > 60)
            return false;
        lSeconds = DaysSinceEpoch(field(0, 4), lMonth, lDay) * 86400 + lHour * 3600 + lMinute * 60 + lSecond;
        return true;
    }

}

bool CFTPMlsdParser::Parse(CFTPFileStatus &ftpFileStatus, const tstring &strLineToParse)
{
    ftpFileStatus.Reset();
    const size_t nBlank = strLineToParse.find(' ');
    if (nBlank == tstring::npos || nBlank + 1 == strLineToParse.size())
        return false;

    size_t nStart = 0;
    while (nStart < nBlank) {
        const size_t nEnd = std::min(strLineToParse.find(';', nStart), nBlank);
        const tstring strFact = strLineToParse.substr(nStart, nEnd - nStart);
        const size_t nEquals = strFact.find('=');
        if (nEquals == tstring::npos
            || !ParseFact(ftpFileStatus, Lower(strFact.substr(0, nEquals)), strFact.substr(nEquals + 1))) {
            ftpFileStatus.Reset();
            return false;
        }
        nStart = nEnd + 1;
    }
    ftpFileStatus.SetName(strLineToParse.substr(nBlank + 1));
    return true;
}

bool CFTPMlsdParser::ParseFact(CFTPFileStatus &ftpFileStatus, const tstring &strName, const tstring &strValue)
{
    if (strName == "type") {
        const tstring strType = Lower(strValue);
        if (strType == "cdir" || strType == "pdir")
            return false;
        // Links come as "OS.unix=slink:target" (or symlink); they may lead to either.
        const bool fLink
            = strType.compare(0, 13, "os.unix=slink") == 0 || strType.compare(0, 15, "os.unix=symlink") == 0;
        ftpFileStatus.m_fTryCwd = fLink || strType == "dir";
        ftpFileStatus.m_fTryRetr = fLink || strType == "file";
    } else if (strName == "size" || strName == "sizd") {
        if (ReadSize(strValue, ftpFileStatus.m_lSize))
            ftpFileStatus.m_iSizeType = CFTPFileStatus::stBinary;
    } else if (strName == "modify") {
        if (ReadTime(strValue, ftpFileStatus.m_lModificationTime))
            ftpFileStatus.m_iModificationTimeType = CFTPFileStatus::mttRemoteSeconds;
    } else if (strName == "perm") {
        ftpFileStatus.m_strAttributes = strValue;
    } else if (strName == "unique") {
        ftpFileStatus.m_iIDType = CFTPFileStatus::idFull;
        ftpFileStatus.m_strID = strValue;
    }
    return true;
}

}
