<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name>BoardSelectorBox</name>
    <message>
        <source>Режим торгов</source>
        <translation>Trading mode</translation>
    </message>
</context>
<context>
    <name>DateEdit</name>
    <message>
        <source>Дата в формате: %1</source>
        <translation>Date format: %1</translation>
    </message>
</context>
<context>
    <name>SecuritySelectorBox</name>
    <message>
        <source>Инструмент</source>
        <translation>Security</translation>
    </message>
</context>
<context>
    <name>StockSelectorBox</name>
    <message>
        <source>Площадка</source>
        <translation>Market</translation>
    </message>
</context>
<context>
    <name>StreamSelectorBox</name>
    <message>
        <source>Поток (Инструмент * количество)</source>
        <translation>Stream (security * quantity)</translation>
    </message>
</context>
</TS>
