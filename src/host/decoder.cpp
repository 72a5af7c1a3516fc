#include "decoder.h"

Decoder::Decoder(QObject *parent)
    : QObject(parent)
{ }

void Decoder::announceNewSessions()
{
    emit aNewSessions();
}
