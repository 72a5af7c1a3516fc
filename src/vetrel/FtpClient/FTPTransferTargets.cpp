#include "FTPTransferTargets.h"

#include <algorithm>
#include <cstring>

namespace nsFTP
{

class COutputStream::CPimpl
{
public:
    CPimpl(const tstring& strEol, const tstring& strName) : m_strEol(strEol), m_strName(strName) {}

    const tstring m_strEol;
    const tstring m_strName;
    tstring m_strBuffer;
    size_t m_nCurrentPos = 0;
};

COutputStream::COutputStream(const tstring& strEolCharacterSequence, const tstring& strStreamName)
    : m_pimpl(new CPimpl(strEolCharacterSequence, strStreamName))
{
}

COutputStream::~COutputStream() = default;

void COutputStream::SetStartPosition()
{
    m_pimpl->m_nCurrentPos = 0;
}

bool COutputStream::GetNextLine(tstring& strLine)
{
    const tstring& strBuffer = m_pimpl->m_strBuffer;
    size_t& nPos = m_pimpl->m_nCurrentPos;
    if (nPos >= strBuffer.size())
        return false;

    const size_t nEnd = m_pimpl->m_strEol.empty() ? tstring::npos : strBuffer.find(m_pimpl->m_strEol, nPos);
    if (nEnd == tstring::npos) {
        strLine.assign(strBuffer, nPos, tstring::npos);
        nPos = strBuffer.size();
    } else {
        strLine.assign(strBuffer, nPos, nEnd - nPos);
        nPos = nEnd + m_pimpl->m_strEol.size();
    }
    return true;
}

const tstring& COutputStream::GetBuffer() const
{
    return m_pimpl->m_strBuffer;
}

void COutputStream::SetBuffer(const tstring& strBuffer)
{
    m_pimpl->m_strBuffer = strBuffer;
    m_pimpl->m_nCurrentPos = 0;
}

tstring COutputStream::GetLocalStreamName() const
{
    return m_pimpl->m_strName;
}

long COutputStream::GetLocalStreamSize() const
{
    return static_cast<long>(m_pimpl->m_strBuffer.size());
}

void COutputStream::SetLocalStreamOffset(unsigned int uiStreamOffset)
{
    m_pimpl->m_nCurrentPos = std::min<size_t>(uiStreamOffset, m_pimpl->m_strBuffer.size());
}

void COutputStream::OnBytesReceived(const std::vector<char>& vBuffer, long lReceivedBytes)
{
    m_pimpl->m_strBuffer.append(vBuffer.data(), static_cast<size_t>(lReceivedBytes));
}

void COutputStream::OnPreBytesSend(char* pszBuffer, size_t bufferSize, size_t& bytesToSend)
{
    const tstring& strBuffer = m_pimpl->m_strBuffer;
    size_t& nPos = m_pimpl->m_nCurrentPos;
    bytesToSend = std::min(bufferSize, strBuffer.size() - std::min(nPos, strBuffer.size()));
    std::memcpy(pszBuffer, strBuffer.data() + nPos, bytesToSend);
    nPos += bytesToSend;
}

CFile::CFile() = default;

CFile::~CFile()
{
    Close();
}

bool CFile::Open(const tstring& strFileName, QIODevice::OpenMode mode)
{
    Close();
    m_fGood = true;
    m_File.setFileName(QFile::decodeName(QByteArray::fromStdString(strFileName)));
    // The client hands over whole blocks; Qt's own buffer would only copy them once more.
    return m_File.open(mode | QIODevice::Unbuffered);
}

bool CFile::Close()
{
    if (m_File.isOpen()) {
        m_File.close();
    }
    return m_fGood;
}

bool CFile::IsOpen() const
{
    return m_File.isOpen();
}

tstring CFile::ErrorString() const
{
    return m_File.errorString().toLocal8Bit().toStdString();
}

tstring CFile::GetLocalStreamName() const
{
    return QFile::encodeName(m_File.fileName()).toStdString();
}

long CFile::GetLocalStreamSize() const
{
    return m_File.isOpen() ? static_cast<long>(m_File.size()) : 0;
}

void CFile::SetLocalStreamOffset(unsigned int uiStreamOffset)
{
    if (m_File.isOpen() && !m_File.seek(uiStreamOffset))
        m_fGood = false;
}

void CFile::OnBytesReceived(const std::vector<char>& vBuffer, long lReceivedBytes)
{
    if (m_File.isOpen() && m_File.write(vBuffer.data(), lReceivedBytes) != lReceivedBytes)
        m_fGood = false;
}

void CFile::OnPreBytesSend(char* pszBuffer, size_t bufferSize, size_t& bytesToSend)
{
    bytesToSend = 0;
    if (!m_File.isOpen())
        return;
    const qint64 iRead = m_File.read(pszBuffer, static_cast<qint64>(bufferSize));
    if (iRead < 0)
        m_fGood = false;
    else
        bytesToSend = static_cast<size_t>(iRead);
}

}
