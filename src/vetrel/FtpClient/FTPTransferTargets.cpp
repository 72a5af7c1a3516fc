#include "FTPTransferTargets.h"

#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace nsFTP
{

class COutputStream::CPimpl
{
public:
    CPimpl(const tstring &strEol, const tstring &strName)
        : m_strEol(strEol)
        , m_strName(strName)
    { }

    const tstring m_strEol;
    const tstring m_strName;
    tstring m_strBuffer;
    size_t m_nCurrentPos = 0;
};

COutputStream::COutputStream(const tstring &strEolCharacterSequence, const tstring &strStreamName)
    : m_pimpl(new CPimpl(strEolCharacterSequence, strStreamName))
{ }

COutputStream::~COutputStream() = default;

void COutputStream::SetStartPosition()
{
    m_pimpl->m_nCurrentPos = 0;
}

bool COutputStream::GetNextLine(tstring &strLine)
{
    const tstring &strBuffer = m_pimpl->m_strBuffer;
    size_t &nPos = m_pimpl->m_nCurrentPos;
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

const tstring &COutputStream::GetBuffer() const
{
    return m_pimpl->m_strBuffer;
}

void COutputStream::SetBuffer(const tstring &strBuffer)
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

void COutputStream::OnBytesReceived(const std::vector<char> &vBuffer, long lReceivedBytes)
{
    m_pimpl->m_strBuffer.append(vBuffer.data(), static_cast<size_t>(lReceivedBytes));
}

void COutputStream::OnPreBytesSend(char *pszBuffer, size_t bufferSize, size_t &bytesToSend)
{
    const tstring &strBuffer = m_pimpl->m_strBuffer;
    size_t &nPos = m_pimpl->m_nCurrentPos;
    bytesToSend = std::min(bufferSize, strBuffer.size() - std::min(nPos, strBuffer.size()));
    std::memcpy(pszBuffer, strBuffer.data() + nPos, bytesToSend);
    nPos += bytesToSend;
}

class CFile::CPimpl
{
public:
    /// The open file: the plain one, or the temporary one of OpenReplacing().
    QFileDevice &Device() { return m_apSaveFile ? static_cast<QFileDevice &>(*m_apSaveFile) : m_File; }
    const QFileDevice &Device() const
    {
        return m_apSaveFile ? static_cast<const QFileDevice &>(*m_apSaveFile) : m_File;
    }

    /// Keeps the system's own words: Qt says "Unknown error" for some failed writes.
    void Fail(int iError)
    {
        if (m_fGood && iError != 0)
            m_strError = qt_error_string(iError);
        m_fGood = false;
    }

    QFile m_File;
    QString m_strError;
    std::unique_ptr<QSaveFile> m_apSaveFile;
    bool m_fGood = true;
};

CFile::CFile()
    : m_pimpl(new CPimpl)
{ }

CFile::~CFile()
{
    Discard();
    Close();
}

bool CFile::Open(const tstring &strFileName, QIODevice::OpenMode mode)
{
    Close();
    m_pimpl->m_apSaveFile.reset();
    m_pimpl->m_fGood = true;
    m_pimpl->m_strError.clear();
    m_pimpl->m_File.setFileName(QFile::decodeName(QByteArray::fromStdString(strFileName)));
    // The client hands over whole blocks; Qt's own buffer would only copy them once more.
    return m_pimpl->m_File.open(mode | QIODevice::Unbuffered);
}

bool CFile::OpenReplacing(const tstring &strFileName)
{
    Close();
    m_pimpl->m_fGood = true;
    m_pimpl->m_strError.clear();
    // The plain file keeps the name for messages once the temporary one is gone.
    m_pimpl->m_File.setFileName(QFile::decodeName(QByteArray::fromStdString(strFileName)));
    m_pimpl->m_apSaveFile.reset(new QSaveFile(m_pimpl->m_File.fileName()));
    return m_pimpl->m_apSaveFile->open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

void CFile::Discard()
{
    // A save file that goes without being committed takes its temporary file with it.
    m_pimpl->m_apSaveFile.reset();
}

bool CFile::Close()
{
    if (m_pimpl->m_apSaveFile) {
        // After a failed write the target stays untouched, and the error says why.
        if (m_pimpl->m_apSaveFile->isOpen() && !m_pimpl->m_apSaveFile->commit())
            m_pimpl->m_fGood = false;
    } else if (m_pimpl->m_File.isOpen()) {
        m_pimpl->m_File.close();
    }
    return m_pimpl->m_fGood;
}

bool CFile::IsOpen() const
{
    return m_pimpl->Device().isOpen();
}

bool CFile::IsGood() const
{
    return m_pimpl->m_fGood;
}

tstring CFile::ErrorString() const
{
    const QString strError
        = m_pimpl->m_strError.isEmpty() ? m_pimpl->Device().errorString() : m_pimpl->m_strError;
    return strError.toLocal8Bit().toStdString();
}

tstring CFile::GetLocalStreamName() const
{
    return QFile::encodeName(m_pimpl->Device().fileName()).toStdString();
}

long CFile::GetLocalStreamSize() const
{
    const QFileDevice &device = m_pimpl->Device();
    return device.isOpen() ? static_cast<long>(device.size()) : 0;
}

void CFile::SetLocalStreamOffset(unsigned int uiStreamOffset)
{
    QFileDevice &device = m_pimpl->Device();
    if (device.isOpen() && !device.seek(uiStreamOffset))
        m_pimpl->m_fGood = false;
}

void CFile::OnBytesReceived(const std::vector<char> &vBuffer, long lReceivedBytes)
{
    QFileDevice &device = m_pimpl->Device();
    if (device.isOpen() && device.write(vBuffer.data(), lReceivedBytes) != lReceivedBytes)
        m_pimpl->Fail(errno);
}

void CFile::OnPreBytesSend(char *pszBuffer, size_t bufferSize, size_t &bytesToSend)
{
    bytesToSend = 0;
    QFileDevice &device = m_pimpl->Device();
    if (!device.isOpen())
        return;
    const qint64 iRead = device.read(pszBuffer, static_cast<qint64>(bufferSize));
    if (iRead < 0)
        m_pimpl->Fail(errno);
    else
        bytesToSend = static_cast<size_t>(iRead);
}

}
