#include "vetrel_main.h"

#include "values.h"

namespace Vetrel
{

Main::Main()
{
    qRegisterMetaType<Values>("Values");
}

Main main;

}
