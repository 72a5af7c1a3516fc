#ifndef VETREL_BOARDSELECTORBOX_H
#define VETREL_BOARDSELECTORBOX_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class BoardSelectorBoxPrivate;
class BoardSelectorFilteredModel;
class BoardSelectorModel;

/**
 * Picks a trading board of the stock given as StockCode (or StockId); all
 * boards while no stock is given. The choice is bound as BoardId, Board (the
 * typed text) and BoardCode; a change of stock clears it. A refill or new
 * flag filters keep the chosen board while it is listed; when it leaves the
 * list, the line is cleared and the form hears id 0.
 */
class VETREL_EXPORT BoardSelectorBox : public ComboBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(int StockId READ getStockId WRITE setStockId)
    Q_PROPERTY(QString StockCode READ getStockCode WRITE setStockCode)
    Q_PROPERTY(int BoardId READ getBoardId WRITE setBoardId NOTIFY boardIdChanged)
    Q_PROPERTY(QString Board READ getBoard NOTIFY boardChanged)
    Q_PROPERTY(QString BoardCode READ getBoardCode WRITE setBoardCode NOTIFY boardCodeChanged USER true)

public:
    explicit BoardSelectorBox(QWidget *parent = nullptr);
    ~BoardSelectorBox() override;

    int getStockId() const;
    QString getStockCode() const;
    int getBoardId() const;
    QString getBoard() const;
    QString getBoardCode() const;

    void setStockId(int stockId);
    void setStockCode(const QString &stockCode);
    void setBoardId(int boardId);
    void setBoardCode(const QString &boardCode);

    /// Deletes the current model, then fills and shows `model` (owned by the box).
    void setSourceModel(BoardSelectorModel *model);
    BoardSelectorModel *sourceModel() const;
    BoardSelectorFilteredModel *filteredModel() const;

    void setBoardFlagsOnFilter(qlonglong mask);
    void setBoardFlagsOffFilter(qlonglong mask);

signals:
    void boardChanged(const QString &board);
    void boardIdChanged(int boardId);
    void boardCodeChanged(const QString &boardCode);

private slots:
    void edit_changed(const QString &text);
    void item_activated(int index);

private:
    std::unique_ptr<BoardSelectorBoxPrivate> const d;
};

#endif
