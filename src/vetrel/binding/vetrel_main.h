#ifndef VETREL_VETREL_MAIN_H
#define VETREL_VETREL_MAIN_H

#include <vetrel/vetrel_export.h>

#include <memory>

namespace Vetrel
{

class MainPrivate;

/**
 * The library's start-up object. Its one global instance, Vetrel::main, is
 * constructed when the library is loaded and registers the "Values"
 * meta-type; nothing else runs at load time.
 */
class VETREL_EXPORT Main
{
public:
    Main();
    ~Main();

    Main(const Main &) = delete;
    Main &operator=(const Main &) = delete;

private:
    std::unique_ptr<MainPrivate> const d;
};

VETREL_EXPORT extern Main main;

}

#endif
