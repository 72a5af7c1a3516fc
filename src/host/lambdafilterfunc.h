#ifndef HOST_LAMBDAFILTERFUNC_H
#define HOST_LAMBDAFILTERFUNC_H

#include <host/host_export.h>

#include <QObject>

#include <functional>

class Record;

/**
 * A record filter holding one callable. filter() without a callable throws
 * std::bad_function_call.
 */
class HOST_EXPORT LambdaFilterFunc : public QObject
{
    Q_OBJECT

public:
    using Func = std::function<bool(const Record &)>;

    explicit LambdaFilterFunc(Func func = Func(), QObject *parent = nullptr);
    ~LambdaFilterFunc() override;

    virtual bool filter(const Record &record) const;
    void setFunc(Func func);
    /// A copy of the callable, for a caller that filters on another thread.
    Func func() const;

private:
    Func m_func;
};

#endif
