#include "index.h"

Index::~Index() = default;
