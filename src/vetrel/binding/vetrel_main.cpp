#include <vetrel/vetrel_main.h>

#include <vetrel/values.h>

namespace Vetrel
{

class MainPrivate
{
};

Main::Main()
    : d(new MainPrivate)
{
    qRegisterMetaType<Values>("Values");
}

Main::~Main() = default;

Main main;

}
