#ifndef HOST_BOARDDIRECTORY_H
#define HOST_BOARDDIRECTORY_H

#include <host/directory.h>
#include <host/host_export.h>

#include <QHash>
#include <QPair>

/**
 * Boards by (stock id, board id) from the "boards" table: codes, flag masks,
 * whether positions are kept on a board and whether it is an RFS board.
 * Unknown boards give the empty text, the id 0 and false.
 */
class HOST_EXPORT BoardDirectory : public Directory
{
    Q_OBJECT

public:
    static BoardDirectory *i();

    static QString codeById(int stockId, int boardId);
    static int idByCode(const QString &stockCode, const QString &boardCode);
    static QString nameById(int stockId, int boardId);
    static qlonglong flagsById(int stockId, int boardId);
    // The board has every flag of the mask.
    static bool checkFlagsById(int stockId, int boardId, qlonglong mask);
    static bool isPositionById(int stockId, int boardId);
    static bool isRFSBoardById(int stockId, int boardId);

private:
    struct Board
    {
        QString code;
        QString name;
        qlonglong flags = 0;
        bool position = false;
        bool rfs = false;
    };
    using Key = QPair<int, int>;

    BoardDirectory();
    static BoardDirectory &self();
    static Board board(int stockId, int boardId);
    void rebuild(const Table *table) override;

    QHash<Key, Board> m_boards;
    QHash<QPair<int, QString>, int> m_idByCode;
};

#endif
