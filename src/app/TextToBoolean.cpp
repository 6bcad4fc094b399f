#include "TextToBoolean.h"

#include "platform/sys/Error.h"

#include <QRegularExpression>

namespace app {

std::optional<double> numericValue(const QString& text)
{
    const QString t = text.trimmed();
    static const QRegularExpression decimal(QStringLiteral(R"(^[+-]?(\d+\.?\d*|\.\d+)([eEdD][+-]?\d+)?$)"));
    static const QRegularExpression radix(QStringLiteral(R"(^&([hH][0-9A-Fa-f]+|[oO]?[0-7]+)$)"));
    if (decimal.match(t).hasMatch()) {
        QString n = t;
        n.replace(QLatin1Char('d'), QLatin1Char('e')).replace(QLatin1Char('D'), QLatin1Char('e'));
        bool ok = false;
        const double v = n.toDouble(&ok);
        if (ok)
            return v;
    }
    if (radix.match(t).hasMatch()) {
        const bool hex = t[1] == QLatin1Char('h') || t[1] == QLatin1Char('H');
        const QString digits = t.mid(hex || t[1] == QLatin1Char('o') || t[1] == QLatin1Char('O') ? 2 : 1);
        bool ok = false;
        const qulonglong v = digits.toULongLong(&ok, hex ? 16 : 8);
        if (ok)
            return static_cast<double>(v);
    }
    return std::nullopt;
}

bool textToBoolean(const QString& text)
{
    const QString t = text.trimmed();
    if (t.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0)
        return true;
    if (t.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0)
        return false;

    if (const auto v = numericValue(t))
        return *v != 0.0;
    throw tb::Error(tb::err::TypeMismatch, "Type mismatch");
}

}  // namespace app
