#include "FTPListParse.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <ctime>

namespace nsFTP
{

namespace
{

    const char *const monthNames[12]
        = { "jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec" };

    constexpr long secondsPerDay = 86400;
    // A date without a year is taken as lying less than this before now.
    constexpr long guessWindow = 350 * secondsPerDay;

    // Time arithmetic on numbers read from untrusted lines is done wide and
    // clamped, so that no input can overflow a long.
    typedef __int128 wide;

    // Three characters folded to lower case (ASCII only, whatever the process
    // locale) and packed into one number, so a month name compares at once.
    unsigned MonthKey(const char *p)
    {
        const auto lower
            = [](char c) { return unsigned(static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c)); };
        return lower(p[0]) << 16 | lower(p[1]) << 8 | lower(p[2]);
    }

    // The file-type letters of a UNIX permission string.
    bool IsUNIXType(char c)
    {
        switch (c) {
        case 'b':
        case 'c':
        case 'd':
        case 'l':
        case 'p':
        case 's':
        case '-':
            return true;
        default:
            return false;
        }
    }

    // Days from 1970-01-01 to the first of a month (0 = January). Counting
    // years start in March, so that the leap day ends a year and the month
    // lengths from March on follow the 153-days-per-5-months rule.
    template<typename Int>
    Int DaysToMonth(Int year, long lMonthOfYear)
    {
        if (lMonthOfYear < 2) {
            year -= 1;
            lMonthOfYear += 10;
        } else {
            lMonthOfYear -= 2;
        }
        const Int era = (year >= 0 ? year : year - 399) / 400;
        const Int yearOfEra = year - era * 400;
        const Int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + (153 * lMonthOfYear + 2) / 5;
        // 719468 days lie between 0000-03-01 and 1970-01-01.
        return era * 146097 + dayOfEra - 719468;
    }

    long Saturate(wide value)
    {
        return static_cast<long>(std::clamp<wide>(value, LONG_MIN, LONG_MAX));
    }

    long AddClockTime(long lDate, long lSeconds, long lHour, long lMinute)
    {
        return Saturate(wide(lDate) + lSeconds + wide(lHour) * 3600 + wide(lMinute) * 60);
    }

    // Two-digit years as MS-DOS listings print them: 85 is 1985, 07 is 2007.
    long WidenYear(long lYear)
    {
        if (lYear < 50)
            lYear += 2000;
        if (lYear <= 999)
            lYear += 1900;
        return lYear;
    }

    // A read position in one line that never moves past its end.
    class CCursor
    {
    public:
        CCursor(const char *pBegin, const char *pEnd)
            : m_p(pBegin)
            , m_pEnd(pEnd)
        { }

        bool AtEnd() const { return m_p == m_pEnd; }
        char Peek() const { return *m_p; }
        const char *Position() const { return m_p; }
        void Advance() { ++m_p; }

        // Skips a run of c; false when that reaches the end of the line.
        bool SkipRun(char c)
        {
            while (m_p != m_pEnd && *m_p == c)
                ++m_p;
            return m_p != m_pEnd;
        }
        // Moves to the next c; false when there is none.
        bool SkipTo(char c)
        {
            while (m_p != m_pEnd && *m_p != c)
                ++m_p;
            return m_p != m_pEnd;
        }
        // The text up to the next c (which must exist); the cursor stops on c.
        bool TextUpTo(char c, const char *&pText, int &iLength)
        {
            pText = m_p;
            if (!SkipTo(c))
                return false;
            iLength = static_cast<int>(m_p - pText);
            return true;
        }
        // The number up to the next c, as in "27-" or "09:".
        bool NumberUpTo(char c, long &lValue)
        {
            const char *pText;
            int iLength;
            return TextUpTo(c, pText, iLength) && CFTPListParser::GetLong(pText, iLength, lValue);
        }
        // A run of digits, at least one.
        bool Digits(long &lValue)
        {
            const char *pText = m_p;
            while (m_p != m_pEnd && *m_p >= '0' && *m_p <= '9')
                ++m_p;
            return CFTPListParser::GetLong(pText, static_cast<int>(m_p - pText), lValue);
        }

    private:
        const char *m_p;
        const char *m_pEnd;
    };

}

CFTPListParser::CFTPListParser()
{
    // Where the system's time_t count starts on the day count; 0 wherever
    // time_t counts from 1970-01-01 00:00 UTC.
    tm epoch {};
    GmTime(epoch, 0);
    m_lTimeOffset = -AddClockTime(
        ToTAI(epoch.tm_year + 1900L, epoch.tm_mon, epoch.tm_mday), epoch.tm_sec, epoch.tm_hour, epoch.tm_min);
}

CFTPListParser::~CFTPListParser() = default;

bool CFTPListParser::Parse(CFTPFileStatus &ftpFileStatus, const tstring &strLineToParse)
{
    ftpFileStatus.Reset();
    if (strLineToParse.size() < 2)
        return false;
    const char *pBegin = strLineToParse.data();
    const char *pEnd = pBegin + strLineToParse.size();

    bool fParsed = false;
    if (*pBegin == '+')
        fParsed = ParseEPLF(ftpFileStatus, pBegin, pEnd);
    else if (IsUNIXType(*pBegin))
        fParsed = ParseUNIXStyle(ftpFileStatus, pBegin, pEnd);
    else {
        if (std::find(pBegin, pEnd, ';') != pEnd)
            fParsed = ParseMultiNet(ftpFileStatus, pBegin, pEnd);
        // An MS-DOS name may contain ";" as well; such a line is no less an MS-DOS line.
        if (!fParsed && *pBegin >= '0' && *pBegin <= '9') {
            ftpFileStatus.Reset();
            fParsed = ParseMSDOS(ftpFileStatus, pBegin, pEnd);
        }
    }
    if (!fParsed)
        ftpFileStatus.Reset();
    return fParsed;
}

bool CFTPListParser::ParseEPLF(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd) const
{
    const char *pTab = std::find(pBegin, pEnd, '\t');
    if (pTab == pEnd || pTab + 1 == pEnd)
        return false;
    ftpFileStatus.m_strName.assign(pTab + 1, pEnd);

    for (const char *pFact = pBegin + 1; pFact < pTab;) {
        const char *pFactEnd = std::find(pFact, pTab, ',');
        const int iLength = static_cast<int>(pFactEnd - pFact);
        long lValue = 0;
        switch (iLength > 0 ? *pFact : '\0') {
        case '/':
            ftpFileStatus.m_fTryCwd = true;
            break;
        case 'r':
            ftpFileStatus.m_fTryRetr = true;
            break;
        case 's':
            ftpFileStatus.m_iSizeType = CFTPFileStatus::stBinary;
            ftpFileStatus.m_lSize = GetLong(pFact + 1, iLength - 1, lValue) ? lValue : -1;
            break;
        case 'm':
            if (GetLong(pFact + 1, iLength - 1, lValue)) {
                ftpFileStatus.m_iModificationTimeType = CFTPFileStatus::mttRemoteSeconds;
                ftpFileStatus.m_lModificationTime = Saturate(wide(lValue) + m_lTimeOffset);
            }
            break;
        case 'i':
            ftpFileStatus.m_iIDType = CFTPFileStatus::idFull;
            ftpFileStatus.m_strID.assign(pFact + 1, pFactEnd);
            break;
        default:
            break;
        }
        pFact = pFactEnd + 1;
    }
    return true;
}

bool CFTPListParser::ParseUNIXStyle(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd)
{
    switch (*pBegin) {
    case 'd':
        ftpFileStatus.m_fTryCwd = true;
        break;
    case 'l':
        ftpFileStatus.m_fTryCwd = true;
        ftpFileStatus.m_fTryRetr = true;
        break;
    case '-':
        ftpFileStatus.m_fTryRetr = true;
        break;
    }

    enum
    {
        Permissions,
        LinkCount,
        Owner,
        Group,
        Size,
        Month,
        Day,
        YearOrTime
    } state
        = Permissions;
    long lMonth = 0;
    long lDay = 0;
    long lValue = 0;
    const auto setSize = [&](long lSize) {
        ftpFileStatus.m_iSizeType = CFTPFileStatus::stBinary;
        ftpFileStatus.m_lSize = lSize;
    };

    CCursor cursor(pBegin, pEnd);
    for (;;) {
        if (!cursor.SkipRun(' '))
            return false;
        const char *pField = cursor.Position();
        cursor.SkipTo(' ');
        const int iLength = static_cast<int>(cursor.Position() - pField);

        switch (state) {
        case Permissions:
            ftpFileStatus.m_strAttributes.assign(pField, iLength);
            state = LinkCount;
            break;
        case LinkCount:
            ftpFileStatus.m_strLink.assign(pField, iLength);
            // "folder" stands in for the link count and owner of some Macintosh servers.
            state = iLength == 6 && *pField == 'f' ? Group : Owner;
            break;
        case Owner:
            ftpFileStatus.m_strUID.assign(pField, iLength);
            state = Group;
            break;
        case Group:
            // No group column: this is already the size.
            if (GetLong(pField, iLength, lValue)) {
                setSize(lValue);
                state = Month;
            } else {
                ftpFileStatus.m_strGID.assign(pField, iLength);
                state = Size;
            }
            break;
        case Size:
            if (GetLong(pField, iLength, lValue))
                setSize(lValue);
            state = Month;
            break;
        case Month:
            lMonth = GetMonth(pField, iLength);
            if (lMonth >= 0)
                state = Day;
            else if (GetLong(pField, iLength, lValue))
                setSize(lValue); // a numeric group took the size's place
            else
                return false;
            break;
        case Day:
            if (!GetLong(pField, iLength, lDay))
                return false;
            state = YearOrTime;
            break;
        case YearOrTime:
            return SetUNIXTime(ftpFileStatus, pField, iLength, lMonth, lDay)
                && SetUNIXName(ftpFileStatus, cursor.Position(), pEnd, *pBegin == 'l');
        }
    }
}

bool CFTPListParser::SetUNIXTime(
    CFTPFileStatus &ftpFileStatus, const char *pField, int iLength, long lMonth, long lDay)
{
    long lHour = 0;
    long lMinute = 0;
    long lYear = 0;
    // Recent entries show H:MM or HH:MM and no year; older ones the year.
    if ((iLength == 4 && pField[1] == ':') || (iLength == 5 && pField[2] == ':')) {
        const int iHourLength = iLength - 3;
        if (!GetLong(pField, iHourLength, lHour) || !GetLong(pField + iHourLength + 1, 2, lMinute))
            return false;
        ftpFileStatus.m_iModificationTimeType = CFTPFileStatus::mttLocalMinute;
        ftpFileStatus.m_lModificationTime
            = AddClockTime(GuessTAI(lMonth, lDay), m_lTimeOffset, lHour, lMinute);
    } else if (iLength < 4) {
        return false;
    } else if (GetLong(pField, iLength, lYear)) {
        // A year that is no number leaves the time unknown rather than losing the entry.
        ftpFileStatus.m_iModificationTimeType = CFTPFileStatus::mttLocalDay;
        ftpFileStatus.m_lModificationTime = AddClockTime(ToTAI(lYear, lMonth, lDay), m_lTimeOffset, 0, 0);
    }
    return true;
}

bool CFTPListParser::SetUNIXName(
    CFTPFileStatus &ftpFileStatus, const char *pAfterTime, const char *pEnd, bool fLink)
{
    // Exactly one blank separates the name, which may itself begin with blanks.
    if (pAfterTime == pEnd)
        return false;
    const char *pName = pAfterTime + 1;
    const char *pNameEnd = pEnd;
    if (fLink) {
        static const char arrow[] = " -> ";
        pNameEnd = std::search(pName, pEnd, arrow, arrow + 4);
    }
    if (pName == pNameEnd)
        return false;
    ftpFileStatus.m_strName.assign(pName, pNameEnd);
    return true;
}

bool CFTPListParser::ParseMultiNet(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd) const
{
    CCursor cursor(pBegin, pEnd);
    const char *pName;
    int iNameLength;
    if (!cursor.TextUpTo(';', pName, iNameLength) || iNameLength == 0)
        return false;
    if (iNameLength >= 5 && std::memcmp(pName + iNameLength - 4, ".DIR", 4) == 0) {
        iNameLength -= 4;
        ftpFileStatus.m_fTryCwd = true;
    } else {
        ftpFileStatus.m_fTryRetr = true;
    }
    ftpFileStatus.m_strName.assign(pName, iNameLength);

    // Past the version, the size column and the blanks around it.
    if (!cursor.SkipTo(' ') || !cursor.SkipRun(' ') || !cursor.SkipTo(' ') || !cursor.SkipRun(' '))
        return false;

    long lDay, lYear, lHour, lMinute;
    const char *pMonth;
    int iMonthLength;
    if (!cursor.NumberUpTo('-', lDay) || !cursor.SkipRun('-') || !cursor.TextUpTo('-', pMonth, iMonthLength))
        return false;
    const int iMonth = GetMonth(pMonth, iMonthLength);
    if (iMonth < 0 || !cursor.SkipRun('-') || !cursor.NumberUpTo(' ', lYear) || !cursor.SkipRun(' '))
        return false;
    if (!cursor.NumberUpTo(':', lHour))
        return false;
    cursor.Advance();
    if (!cursor.Digits(lMinute))
        return false;

    ftpFileStatus.m_iModificationTimeType = CFTPFileStatus::mttLocalMinute;
    ftpFileStatus.m_lModificationTime
        = AddClockTime(ToTAI(WidenYear(lYear), iMonth, lDay), m_lTimeOffset, lHour, lMinute);
    return true;
}

bool CFTPListParser::ParseMSDOS(CFTPFileStatus &ftpFileStatus, const char *pBegin, const char *pEnd) const
{
    CCursor cursor(pBegin, pEnd);
    long lMonth, lDay, lYear, lHour, lMinute;
    if (!cursor.NumberUpTo('-', lMonth) || !cursor.SkipRun('-') || !cursor.NumberUpTo('-', lDay)
        || !cursor.SkipRun('-') || !cursor.NumberUpTo(' ', lYear) || !cursor.SkipRun(' '))
        return false;
    if (!cursor.NumberUpTo(':', lHour))
        return false;
    cursor.Advance();
    if (!cursor.Digits(lMinute) || cursor.AtEnd())
        return false;
    // A 12-hour clock ("09:09PM"); without the letters the clock counts 24 hours.
    if (cursor.Peek() == 'A' || cursor.Peek() == 'P') {
        if (lHour == 12)
            lHour = 0;
        // A hostile listing may carry any number of hours; they must not overflow.
        if (cursor.Peek() == 'P' && lHour <= LONG_MAX - 12)
            lHour += 12;
        cursor.Advance();
        if (!cursor.AtEnd() && cursor.Peek() == 'M')
            cursor.Advance();
    }

    if (!cursor.SkipRun(' '))
        return false;
    const char *pField = cursor.Position();
    if (!cursor.SkipTo(' '))
        return false;
    if (*pField == '<') {
        ftpFileStatus.m_fTryCwd = true;
    } else {
        long lSize;
        ftpFileStatus.m_fTryRetr = true;
        if (GetLong(pField, static_cast<int>(cursor.Position() - pField), lSize)) {
            ftpFileStatus.m_iSizeType = CFTPFileStatus::stBinary;
            ftpFileStatus.m_lSize = lSize;
        }
    }
    if (!cursor.SkipRun(' '))
        return false;
    ftpFileStatus.m_strName.assign(cursor.Position(), pEnd);

    ftpFileStatus.m_iModificationTimeType = CFTPFileStatus::mttLocalMinute;
    ftpFileStatus.m_lModificationTime
        = AddClockTime(ToTAI(WidenYear(lYear), lMonth - 1, lDay), m_lTimeOffset, lHour, lMinute);
    return true;
}

long CFTPListParser::ToTAI(long lYear, long lMonth, long lMDay)
{
    long lMonthOfYear = lMonth % 12;
    // Floor division, without the subtraction that overflows at LONG_MIN.
    long lYearsInMonths = lMonth / 12;
    if (lMonthOfYear < 0) {
        lMonthOfYear += 12;
        --lYearsInMonths;
    }
    constexpr long lPlain = 1000000000L;
    // Any real date stays far inside these bounds and needs no wide arithmetic.
    if (lYear > -lPlain && lYear < lPlain && lMonth > -lPlain && lMonth < lPlain && lMDay > -lPlain
        && lMDay < lPlain)
        return (DaysToMonth<long>(lYear + lYearsInMonths, lMonthOfYear) + lMDay - 1) * secondsPerDay;
    // Beyond 2^62 years every date saturates anyway.
    const wide year = std::clamp<wide>(wide(lYear) + lYearsInMonths, -(wide(1) << 62), wide(1) << 62);
    return Saturate((DaysToMonth<wide>(year, lMonthOfYear) + lMDay - 1) * secondsPerDay);
}

long CFTPListParser::GuessTAI(long lMonth, long lMDay)
{
    const wide now = wide(std::time(nullptr)) + m_lTimeOffset;
    const long lCurrentYear = GetYear();
    long lTAI = 0;
    for (long lYear = lCurrentYear - 1; lYear < lCurrentYear + 100; ++lYear) {
        lTAI = ToTAI(lYear, lMonth, lMDay);
        if (now - lTAI < guessWindow)
            break;
    }
    return lTAI;
}

long CFTPListParser::GetYear()
{
    if (m_lCurrentYear == -1) {
        tm now {};
        GmTime(now, static_cast<long>(std::time(nullptr)));
        m_lCurrentYear = now.tm_year + 1900L;
    }
    return m_lCurrentYear;
}

int CFTPListParser::GetMonth(const char *pBuffer, int iLength)
{
    if (iLength != 3)
        return -1;
    static const auto monthKeys = [] {
        std::array<unsigned, 12> keys {};
        for (int iMonth = 0; iMonth < 12; ++iMonth)
            keys[iMonth] = MonthKey(monthNames[iMonth]);
        return keys;
    }();
    const unsigned uKey = MonthKey(pBuffer);
    for (int iMonth = 0; iMonth < 12; ++iMonth) {
        if (uKey == monthKeys[iMonth])
            return iMonth;
    }
    return -1;
}

bool CFTPListParser::GetLong(const char *pLong, int iLength, long &lResult)
{
    if (iLength <= 0)
        return false;
    // Eighteen digits always fit; only longer numbers need the overflow checks.
    constexpr int iSafeDigits = 18;
    long lValue = 0;
    for (int i = 0; i < iLength; ++i) {
        const long lDigit = pLong[i] - '0';
        if (lDigit < 0 || lDigit > 9)
            return false;
        if (i < iSafeDigits)
            lValue = lValue * 10 + lDigit;
        else if (__builtin_mul_overflow(lValue, 10L, &lValue)
            || __builtin_add_overflow(lValue, lDigit, &lValue))
            return false;
    }
    lResult = lValue;
    return true;
}

void CFTPListParser::GmTime(tm &tmResult, const long &lSeconds)
{
    const time_t seconds = static_cast<time_t>(lSeconds);
    gmtime_r(&seconds, &tmResult);
}

}
