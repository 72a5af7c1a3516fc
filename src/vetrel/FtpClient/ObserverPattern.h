#ifndef VETREL_OBSERVERPATTERN_H
#define VETREL_OBSERVERPATTERN_H

#include <set>

namespace nsHelper
{

/**
 * One side of a two-sided link between subjects and observers.
 *
 * A subject holds a CObserverPatternBase<Subject, Observer> and each observer a
 * CObserverPatternBase<Observer, Subject>; both classes make theirs reachable
 * through a member function ObserverLinks() (private is enough: the link is a
 * friend). Each side keeps the set of partners it is linked to, and a side that
 * is destroyed removes itself from every partner, so neither side ever keeps a
 * dangling pointer, whichever of the two goes first.
 *
 * The link is held as a member rather than inherited so that a class can link
 * to its own nested observer type.
 */
template<typename TSelf, typename TPartner>
class CObserverPatternBase
{
public:
    typedef std::set<TPartner *> TPartnerSet;

    explicit CObserverPatternBase(TSelf *pSelf)
        : m_pSelf(pSelf)
    { }
    ~CObserverPatternBase() { UnlinkAll(); }

    // A link is a relation between two particular objects; an owner that is
    // copied builds a fresh, unlinked side for the copy.
    CObserverPatternBase(const CObserverPatternBase &) = delete;
    CObserverPatternBase &operator=(const CObserverPatternBase &) = delete;

    /// Links both sides; false when they were linked already.
    bool Link(TPartner *pPartner)
    {
        if (!m_setPartners.insert(pPartner).second)
            return false;
        OtherSide(pPartner).m_setPartners.insert(m_pSelf);
        return true;
    }

    /// Unlinks both sides; false when they were not linked.
    bool Unlink(TPartner *pPartner)
    {
        if (m_setPartners.erase(pPartner) == 0)
            return false;
        OtherSide(pPartner).m_setPartners.erase(m_pSelf);
        return true;
    }

    void UnlinkAll()
    {
        for (TPartner *pPartner : m_setPartners)
            OtherSide(pPartner).m_setPartners.erase(m_pSelf);
        m_setPartners.clear();
    }

    const TPartnerSet &Partners() const { return m_setPartners; }

private:
    template<typename, typename>
    friend class CObserverPatternBase;

    static CObserverPatternBase<TPartner, TSelf> &OtherSide(TPartner *pPartner)
    {
        return pPartner->ObserverLinks();
    }

    TSelf *const m_pSelf;
    TPartnerSet m_setPartners;
};

}

#endif
