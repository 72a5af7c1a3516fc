#ifndef VETREL_FTPMLSDPARSE_H
#define VETREL_FTPMLSDPARSE_H

#include "FTPClient.h"
#include "FTPFileStatus.h"

#include <vetrel/vetrel_export.h>

namespace nsFTP
{

/**
 * Understands one line of an MLSD reply: facts ("type=file;size=280;") and,
 * after one blank, the name, which may hold blanks and semicolons of its own.
 *
 * The facts type, size (sizd for directories), modify (UTC, exact to the
 * second), perm and unique fill the status; others are ignored. The entries
 * for the listed directory itself and its parent are refused, as LIST does
 * not show them either.
 */
class VETREL_EXPORT CFTPMlsdParser : public CFTPClient::IFileListParser
{
public:
    /** Fills ftpFileStatus from the line; false (and a reset status) for a malformed line or a cdir/pdir
     * entry. */
    bool Parse(CFTPFileStatus &ftpFileStatus, const tstring &strLineToParse) override;

private:
    static bool ParseFact(CFTPFileStatus &ftpFileStatus, const tstring &strName, const tstring &strValue);
};

}

#endif
