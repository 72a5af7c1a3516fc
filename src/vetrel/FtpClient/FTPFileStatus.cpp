#include "FTPFileStatus.h"

#include <tuple>

namespace nsFTP
{

CFTPFileStatus::CFTPFileStatus()
{
    Reset();
}

void CFTPFileStatus::Reset()
{
    // clear() rather than fresh strings: a parser reuses one status per line
    // and keeps the buffers.
    m_strName.clear();
    m_strPath.clear();
    m_fTryCwd = false;
    m_fTryRetr = false;
    m_iSizeType = stUnknown;
    m_lSize = -1;
    m_iModificationTimeType = mttUnknown;
    m_lModificationTime = 0;
    m_strAttributes.clear();
    m_strUID.clear();
    m_strGID.clear();
    m_strLink.clear();
    m_iIDType = idUnknown;
    m_strID.clear();
}

bool CFTPFileStatus::operator==(const CFTPFileStatus &rhs) const
{
    const auto fields = [](const CFTPFileStatus &s) {
        return std::tie(s.m_strName, s.m_strPath, s.m_fTryCwd, s.m_fTryRetr, s.m_iSizeType, s.m_lSize,
            s.m_iModificationTimeType, s.m_lModificationTime, s.m_strAttributes, s.m_strUID, s.m_strGID,
            s.m_strLink, s.m_iIDType, s.m_strID);
    };
    return fields(*this) == fields(rhs);
}

}
