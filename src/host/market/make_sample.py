#!/usr/bin/env python3
"""Writes sample.json, the built-in sample market of the host library.

Deterministic: the same script always writes the same file. Run it from any
folder after changing it, and commit both.
"""
import json
import os
import random

rng = random.Random(2026)

FLAG_LIMIT, FLAG_MARKET, FLAG_NEGOTIATED, FLAG_AUCTION = 0x01, 0x02, 0x04, 0x08
FLAG_MARGIN, FLAG_SHORT, FLAG_T0, FLAG_REPO = 0x10, 0x20, 0x40, 0x80
CONTINUOUS = FLAG_LIMIT | FLAG_MARKET

stocks = [
    [1, "MOEX", "Московская биржа: фондовый рынок"],
    [2, "SPBX", "СПБ Биржа"],
    [3, "ARVENTA", "Арвента: валютный рынок"],
    [4, "RFS", "RFS: запросы котировок"],
    [5, "MOEX-T1", "Московская биржа: расчёты Т+1"],
    [6, "FORTS", "Срочный рынок"],
]

# stock, board, code, name, sectype, flags, position, rfs
boards = [
    [1, 1, "TQBR", "Т+: Акции и ДР", "E", CONTINUOUS | FLAG_MARGIN | FLAG_SHORT, 1, 0],
    [1, 2, "TQOB", "Т+: Гособлигации", "B", CONTINUOUS | FLAG_MARGIN, 1, 0],
    [1, 3, "TQCB", "Т+: Облигации", "B", CONTINUOUS | FLAG_MARGIN, 1, 0],
    [1, 4, "TQTF", "Т+: Биржевые фонды", "E", CONTINUOUS | FLAG_MARGIN | FLAG_SHORT, 1, 0],
    [1, 5, "SMAL", "Неполные лоты", "E", FLAG_LIMIT, 0, 0],
    [1, 6, "PSAU", "Аукцион", "E", FLAG_AUCTION, 0, 0],
    [1, 7, "EQRP", "РЕПО с акциями", "R", FLAG_NEGOTIATED | FLAG_REPO, 0, 0],
    [2, 1, "SPBXM", "Основной рынок", "E", CONTINUOUS | FLAG_MARGIN | FLAG_SHORT, 1, 0],
    [2, 2, "SPBDE", "Дилерский режим", "E", FLAG_LIMIT | FLAG_NEGOTIATED, 0, 0],
    [2, 3, "SPBBND", "Облигации", "B", CONTINUOUS, 1, 0],
    [3, 1, "CETS", "Системные сделки", "C", CONTINUOUS | FLAG_MARGIN, 1, 1],
    [3, 2, "SPOT", "Спот RFS", "C", CONTINUOUS | FLAG_T0, 1, 1],
    [3, 3, "SWAP", "Своп", "C", FLAG_NEGOTIATED, 0, 0],
    [3, 4, "FIXS", "Фиксинг", "C", FLAG_AUCTION, 0, 0],
    [4, 1, "RFSQ", "Запрос котировок", "C", FLAG_LIMIT | FLAG_NEGOTIATED, 1, 1],
    [5, 1, "TQBR", "Т+1: Акции и ДР", "E", CONTINUOUS | FLAG_MARGIN | FLAG_SHORT, 1, 0],
    [5, 2, "TQOB", "Т+1: Гособлигации", "B", CONTINUOUS, 1, 0],
    [6, 1, "FUT", "Фьючерсы", "F", CONTINUOUS | FLAG_MARGIN | FLAG_SHORT, 1, 0],
    [6, 2, "OPT", "Опционы", "O", CONTINUOUS | FLAG_MARGIN, 1, 0],
]

# stock, session, status, open, close: yesterday's sessions are closed
sessions = []
for stock, (closed, opened) in {1: (101, 102), 2: (201, 202), 3: (300, 301), 4: (400, 401),
                                5: (500, 501), 6: (601, 602)}.items():
    sessions.append([stock, closed, "C", "2026-11-19T07:00:00Z", "2026-11-19T20:50:00Z"])
    sessions.append([stock, opened, "O", "2026-11-20T07:00:00Z", None])
OPEN = {s[0]: s[1] for s in sessions if s[2] == "O"}
CLOSED = {s[0]: s[1] for s in sessions if s[2] == "C"}

ROOTS = ["Аэро", "Норд", "Урал", "Волга", "Сибир", "Балт", "Альфа", "Вектор", "Гранит", "Деловой", "Енисей",
         "Заря", "Искра", "Кедр", "Ладога", "Мега", "Нева", "Обь", "Полюс", "Радуга", "Север", "Титан",
         "Фрегат", "Хибины", "Циркон", "Электро", "Юг", "Ямал"]
TRADES = ["нефть", "газ", "сталь", "энерго", "банк", "телеком", "хим", "агро", "транс", "строй", "фарм",
          "металл", "уголь", "порт", "ритейл"]
LATIN = "ABCDEFGHIKLMNOPRSTUVXYZ"


def ticker(n):
    return "".join(rng.choice(LATIN) for _ in range(n))


securities = []
next_id = [1]


def add_security(stock, board, code, name, base, sectype, lot, step, turnover=None, yld=None, sec_id=None):
    if sec_id is None:
        sec_id = next_id[0]
        next_id[0] += 1
    session = OPEN[stock] if rng.random() < 0.8 else CLOSED[stock]
    securities.append([sec_id, stock, board, session, code, name, base, sectype, lot, step, turnover, yld])


def turnover():
    return "%d.%02d" % (rng.randrange(10 ** 6, 10 ** 13), rng.randrange(100))


# Main market: shares on several boards, the same share under the same name.
companies = sorted({r + t for r in ROOTS for t in TRADES})
rng.shuffle(companies)
used = set()
for company in companies[:230]:
    code = ticker(4)
    while code in used:
        code = ticker(4)
    used.add(code)
    lot = rng.choice([1, 10, 100, 1000])
    step = rng.choice(["0.01", "0.1", "0.005", "0.0001", "1"])
    for board in (1, 5, 6) if rng.random() < 0.35 else (1,):
        add_security(1, board, code, company + " ао", code, "E", lot, step, turnover())
    if rng.random() < 0.25:
        add_security(1, 1, code + "P", company + " ап", code, "E", lot, step, turnover())
for n in range(60):
    number = 26200 + n * 3
    add_security(1, 2, "SU%dRMFS" % number, "ОФЗ %d" % number, "SU%d" % number, "B", 1, "0.001",
                 turnover(), round(rng.uniform(8, 17), 2))
for company in companies[230:400]:
    for issue in range(1, rng.randrange(2, 4)):
        code = "RU000A10%04d" % rng.randrange(10000)
        add_security(1, 3, code, "%s 1Р-%02d" % (company, issue), code, "B", 1, "0.01", turnover(),
                     round(rng.uniform(9, 25), 2))
for n in range(40):
    code = "TQ%s" % ticker(3)
    add_security(1, 4, code, "БПИФ %s" % rng.choice(ROOTS), code, "E", 1, "0.001", turnover())
for n in range(12):
    code = "EQRP%02d" % n
    add_security(1, 7, code, "РЕПО корзина %d" % (n + 1), code, "R", 1, "0.0001")

# Foreign shares on the second exchange.
for n in range(380):
    code = ticker(rng.choice([2, 3, 4]))
    name = "%s %s Inc." % (code.title(), rng.choice(["Tech", "Energy", "Health", "Capital", "Motors", "Foods"]))
    add_security(2, rng.choice([1, 1, 1, 2]), code, name, code, "E", 1, "0.01", turnover())
for n in range(40):
    code = "XS%010d" % rng.randrange(10 ** 10)
    add_security(2, 3, code, "Eurobond %d/%d" % (2027 + n % 9, n), code, "B", 1, "0.01", None,
                 round(rng.uniform(3, 9), 2))

# Currencies: pairs and tenors on the RFS-capable boards of ARVENTA.
CURRENCIES = ["USD", "EUR", "CNY", "HKD", "KZT", "TRY", "AED", "BYN", "AMD", "UZS", "GBP", "CHF", "JPY", "INR"]
TENORS = [("TOD", 1), ("TOM", 1), ("SPT", 2), ("1W", 3), ("2W", 3), ("1M", 3), ("3M", 3), ("6M", 3),
          ("1Y", 3), ("FIX", 4)]
arventa = []
for currency in CURRENCIES:
    for tenor, board in TENORS:
        code = "%sRUB_%s" % (currency, tenor)
        add_security(3, board, code, "%s/RUB %s" % (currency, tenor), currency, "C", 1000, "0.0025", turnover())
        arventa.append((securities[-1][0], code, board))
for currency in CURRENCIES[:6]:
    code = "%sRUB_RFS" % currency
    add_security(4, 1, code, "%s/RUB RFS" % currency, currency, "C", 1, "0.0001")

# Derivatives: ids beyond 32 bits, options beyond 2^53 written as strings.
MONTHS = "HMUZ"
for base in ["Si", "Eu", "CR", "RI", "MX", "BR", "NG", "GD", "SV", "ED", "GZ", "SR", "LK", "VB"]:
    for year in (6, 7):
        for month, month_name in zip(MONTHS, ["03", "06", "09", "12"]):
            code = "%s%s%d" % (base, month, year)
            add_security(6, 1, code, "%s-%s.2%d" % (base, month_name, year), base, "F", 1, "1", turnover(),
                         sec_id=5000000000 + len(securities))
option_id = 9007199254741000
for base, strike0, step in [("Si", 88000, 500), ("RI", 100000, 2500), ("BR", 60, 1)]:
    for month in ("Z6", "H7"):
        for k in range(38):
            for kind in ("CA", "PA"):
                strike = strike0 + k * step
                code = "%s%sM%s%d" % (base, month, kind, strike)
                add_security(6, 2, code, "%s %s %s %d" % (base, month, "Call" if kind == "CA" else "Put", strike),
                             base, "O", 1, "1", sec_id=str(option_id))
                option_id += 1

# Dealers: a few hundred partners, some codes long and some with blanks around.
FORMS = ["ООО", "АО", "ПАО", "ИП", "LLC", "Ltd"]
dealers = []
for n in range(1, 321):
    company = rng.choice(companies)
    code = "MC%07d" % rng.randrange(10 ** 7)
    if n % 40 == 0:
        code = "ORV-LONG-DEALER-CODE-%04d" % n
    elif n % 55 == 0:
        code = " %s " % code
    dealers.append([n, code, "%s «%s-Брокер»" % (rng.choice(FORMS), company), "CL%06d" % n])

streams = []
rfs_secs = [s for s in arventa if s[2] in (1, 2)]
for n, (sec_id, code, board) in enumerate(rfs_secs[:48], start=1):
    for quantity in ("1000000", "5000000") if n % 3 else ("250000.50",):
        streams.append([n * 10 + len(streams) % 2, sec_id, code, quantity])


def table(name, rows):
    return {"name": name, "rows": rows}


market = {
    "format": "vetrel-market/1",
    "tables": [
        table("stocks", stocks),
        table("boards", boards),
        table("sessions", sessions),
        table("securities", securities),
        table("kx.dealer", dealers),
        table("rfs_streams", streams),
    ],
}

path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "sample.json")
with open(path, "w", encoding="utf-8") as out:
    out.write('{\n  "format": "vetrel-market/1",\n  "tables": [\n')
    for i, t in enumerate(market["tables"]):
        out.write('    {"name": %s, "rows": [\n' % json.dumps(t["name"]))
        out.write(",\n".join("      " + json.dumps(r, ensure_ascii=False) for r in t["rows"]))
        out.write("\n    ]}%s\n" % ("," if i + 1 < len(market["tables"]) else ""))
    out.write("  ]\n}\n")
print("%s: %d securities, %d dealers, %d streams" % (path, len(securities), len(dealers), len(streams)))
