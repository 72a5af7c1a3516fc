#include "lambdafilterfunc.h"

LambdaFilterFunc::LambdaFilterFunc(Func func, QObject *parent)
    : QObject(parent)
    , m_func(std::move(func))
{ }

LambdaFilterFunc::~LambdaFilterFunc() = default;

bool LambdaFilterFunc::filter(const Record &record) const
{
    return m_func(record);
}

void LambdaFilterFunc::setFunc(Func func)
{
    m_func = std::move(func);
}

LambdaFilterFunc::Func LambdaFilterFunc::func() const
{
    return m_func;
}
