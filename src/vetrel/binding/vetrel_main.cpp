#include <vetrel/vetrel_main.h>

#include <vetrel/values.h>

namespace Vetrel
{

Main::Main()
{
    qRegisterMetaType<Values>("Values");
}

Main main;

}
