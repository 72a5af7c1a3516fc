#ifndef VETREL_FTPTRANSFERTARGETS_H
#define VETREL_FTPTRANSFERTARGETS_H

#include <vetrel/vetrel_export.h>

#include "FTPClient.h"

#include <QIODevice>

#include <memory>

namespace nsFTP
{

/**
 * A transfer target in memory: collects what a download brings (a listing,
 * mostly) and hands out its text for an upload.
 */
class VETREL_EXPORT COutputStream : public CFTPClient::ITransferNotification
{
public:
    COutputStream(const tstring &strEolCharacterSequence, const tstring &strStreamName);
    ~COutputStream() override;

    COutputStream(const COutputStream &) = delete;
    COutputStream &operator=(const COutputStream &) = delete;

    /// Rewinds the read position to the start of the text.
    void SetStartPosition();
    /// The text from the read position up to the next end-of-line sequence; false at the end of the text.
    bool GetNextLine(tstring &strLine);
    const tstring &GetBuffer() const;
    void SetBuffer(const tstring &strBuffer);

    tstring GetLocalStreamName() const override;
    long GetLocalStreamSize() const override;
    void SetLocalStreamOffset(unsigned int uiStreamOffset) override;
    void OnBytesReceived(const std::vector<char> &vBuffer, long lReceivedBytes) override;
    void OnPreBytesSend(char *pszBuffer, size_t bufferSize, size_t &bytesToSend) override;

private:
    class CPimpl;
    std::unique_ptr<CPimpl> m_pimpl;
};

/**
 * A transfer target on the local disk. A failed read or write is remembered,
 * so that a transfer that could not use its bytes is not taken for a success.
 */
class VETREL_EXPORT CFile : public CFTPClient::ITransferNotification
{
public:
    CFile();
    ~CFile() override;

    CFile(const CFile &) = delete;
    CFile &operator=(const CFile &) = delete;

    /// Opens the file named in the local 8-bit encoding; QIODevice::Append positions at its end.
    bool Open(const tstring &strFileName, QIODevice::OpenMode mode);
    /**
     * Opens for writing a temporary file beside the one named, which takes
     * that name only when Close() succeeds; until then the named file stays
     * as it was. Destroying the object without Close() drops what was written.
     */
    bool OpenReplacing(const tstring &strFileName);
    /// Drops what a file opened by OpenReplacing() holds; no effect on other files.
    void Discard();
    /// Closes; false when a read or write failed at any point while it was open.
    bool Close();
    bool IsOpen() const;
    /// False once a write or read failed since the file was opened.
    bool IsGood() const;
    /// The last I/O error, for messages.
    tstring ErrorString() const;

    tstring GetLocalStreamName() const override;
    long GetLocalStreamSize() const override;
    void SetLocalStreamOffset(unsigned int uiStreamOffset) override;
    void OnBytesReceived(const std::vector<char> &vBuffer, long lReceivedBytes) override;
    void OnPreBytesSend(char *pszBuffer, size_t bufferSize, size_t &bytesToSend) override;

private:
    class CPimpl;
    std::unique_ptr<CPimpl> m_pimpl;
};

}

#endif
