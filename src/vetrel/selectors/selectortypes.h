#ifndef VETREL_SELECTORTYPES_H
#define VETREL_SELECTORTYPES_H

#include <QList>
#include <QMetaType>
#include <QPair>

/// Stock ids, ascending and without duplicates, as a stock model announces them.
using Stocks = QList<int>;

/// One board: the stock id, then the board id; ordered by both in that order.
using Board = QPair<int, int>;
using boardid = Board;

/// Boards ascending and without duplicates, as a board model announces them.
using Boards = QList<Board>;

/// The (stock, board) pairs that restrict a board model.
using boardlist = QList<boardid>;

#endif
