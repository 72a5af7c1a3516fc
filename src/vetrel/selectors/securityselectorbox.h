#ifndef VETREL_SECURITYSELECTORBOX_H
#define VETREL_SECURITYSELECTORBOX_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class SecuritySelectorBoxPrivate;
class SecuritySelectorModel;

/**
 * Picks a security of the current sessions, narrowed to the stock and board
 * that the form chose elsewhere (every security while either is unset).
 * Bound through its properties: the stock and board are taken in, the
 * security's id, code and name are reported. New sessions keep the chosen
 * security while it trades; when it leaves the list, the line is cleared
 * and the form hears id 0.
 */
class VETREL_EXPORT SecuritySelectorBox : public ComboBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(int StockId READ getStockId WRITE setStockId)
    Q_PROPERTY(QString StockCode READ getStockCode WRITE setStockCode)
    Q_PROPERTY(int BoardId READ getBoardId WRITE setBoardId)
    Q_PROPERTY(QString BoardCode READ getBoardCode WRITE setBoardCode)
    Q_PROPERTY(qlonglong SecurityId READ getSecurityId WRITE setSecurityId NOTIFY securityIdChanged)
    Q_PROPERTY(QString Security READ getSecurityCode WRITE setSecurityCode NOTIFY securityChanged)
    Q_PROPERTY(
        QString SecurityName READ getSecurityName WRITE setSecurityName NOTIFY securityNameChanged USER true)

public:
    explicit SecuritySelectorBox(QWidget *parent = nullptr);
    ~SecuritySelectorBox() override;

    int getStockId() const;
    QString getStockCode() const;
    /// The board directory's id of the stored stock and board codes.
    int getBoardId() const;
    QString getBoardCode() const;
    /// The security whose shown text the line holds exactly; 0 when none.
    qlonglong getSecurityId() const;
    /// The code of the security chosen last.
    QString getSecurityCode() const;
    QString getSecurityName() const;

    /// Takes the model (deleting the previous one) and fills it.
    void setSourceModel(SecuritySelectorModel *model);

public slots:
    void setStockId(int stockId);
    void setStockCode(const QString &stockCode);
    void setBoardId(int boardId);
    void setBoardCode(const QString &boardCode);
    void setSecurityId(qlonglong securityId);
    void setSecurityCode(const QString &securityCode);
    void setSecurityName(const QString &securityName);

signals:
    void securityChanged(const QString &securityCode);
    void securityNameChanged(const QString &securityName);
    void securityIdChanged(qlonglong securityId);

private slots:
    void edit_changed(const QString &text);
    void item_activated(int row);

private:
    friend class SecuritySelectorBoxPrivate;
    std::unique_ptr<SecuritySelectorBoxPrivate> const d;
};

#endif
