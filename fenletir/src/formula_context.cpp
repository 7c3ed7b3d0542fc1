#include "formula_context.h"

#include "text_words.h"

#include <fenletir/number_fit.h>

#include <algorithm>

namespace Fenlet::Formulas {
namespace {

bool isBeyond64Bits(const Literal& literal) {
    return literal.isWhole && !literal.integer();
}

/// Why the number does not fit, up to the nearest number, and that number.
struct Misfit {
    std::string words;
    std::string nearest;
};

/// In the words of formulas, where formats are called f32 and so on.
Misfit misfitOf(const Literal& literal, Format format) {
    const std::optional<std::int64_t> integer = literal.integer();
    Misfit misfit;
    misfit.words = integer ? integerMisfit(*integer, format) : realMisfit(literal.value(), format);
    constexpr std::string_view separator = "; the nearest is ";
    const std::size_t end = misfit.words.find(separator);
    if (end != std::string::npos) {
        misfit.nearest = misfit.words.substr(end + separator.size());
        misfit.words.resize(end);
    }
    const std::string_view name = registerFormatName(format);
    if (const std::size_t at = misfit.words.find(name); at != std::string::npos)
        misfit.words.replace(at, name.size(), factsOf(format).word);
    return misfit;
}

bool fitsInto(const Literal& literal, Format format) {
    const std::optional<std::int64_t> integer = literal.integer();
    const NumberFit fit =
        integer ? fitOfInteger(*integer, format) : fitOfReal(literal.value(), format);
    return fit == NumberFit::Fits;
}

} // namespace

std::string kindText(Format format, std::int32_t components) {
    RegisterInfo info;
    info.format = format;
    info.multiplicity = components;
    return Text::typeText(info);
}

Value Context::refuse(SourceSpan place, std::string wrong, std::string right) {
    complaints.add(place, std::move(wrong), std::move(right));
    return {};
}

std::string Context::textOf(const Value& value, const char* otherwise) const {
    constexpr std::size_t mostBytes = 24;
    const std::string_view piece = text.substr(value.place.offset, value.place.bytes);
    const bool isShort = !piece.empty() && piece.size() <= mostBytes &&
                         piece.find_first_of("\n#") == std::string_view::npos;
    return isShort ? std::string(piece) : otherwise;
}

std::string Context::describe(const Value& value) const {
    if (value.isOpen())
        return textOf(value, "this");
    return textOf(value, "this") + " (" + kindText(value.format, value.components) + ")";
}

Value Context::made(Register held, const Meeting& meeting, SourceSpan place) {
    Value value;
    value.sort = Value::Sort::Register;
    value.held = held;
    value.format = meeting.format;
    value.components = meeting.components;
    value.mayBeMissing = meeting.mayBeMissing;
    value.mayBeUnknown = isTribool(meeting.format);
    value.place = place;
    return value;
}

Value Context::madeTruth(Register held, std::int32_t components, bool mayBeUnknown,
                         SourceSpan place) {
    Value value = made(held, {Format::Tribool, components, false}, place);
    value.mayBeUnknown = mayBeUnknown;
    return value;
}

bool Context::fits(const Value& number, Format format, const Value* partner) {
    const Literal& literal = number.literal;
    if (isBeyond64Bits(literal)) {
        refuse(number.place, textOf(number, "this number") + " does not fit into 64 bits",
               "write a real number, with a point or an exponent");
        return false;
    }
    if (fitsInto(literal, format))
        return true;
    if (isFull()) {
        refuse(number.place, "", "");
        return false;
    }
    const Misfit misfit = misfitOf(literal, format);
    std::string right;
    if (partner && format != Format::Float64)
        right = "write f64(" + textOf(*partner) + ") to compute in f64";
    if (!misfit.nearest.empty())
        right += (right.empty() ? "the nearest is " : ", or the nearest, ") + misfit.nearest;
    refuse(number.place, misfit.words, right);
    return false;
}

bool Context::areNumbers(const Values& values, std::string_view user) {
    for (const Value* const each : values) {
        const Value& value = *each;
        if (value.isBad())
            return false;
        if (value.isTruth()) {
            refuse(value.place,
                   std::string(user) + " takes numbers, and " + describe(value) +
                       " is a truth value",
                   "write where(" + textOf(value, "c") + ", 1, 0) for a number");
            return false;
        }
    }
    return true;
}

bool Context::hasArithmetic(Format format, const Value& value, std::string_view user) {
    if (isArithmetic(format))
        return true;
    refuse(value.place, std::string(user) + " has no instruction for i64",
           "write f64(" + textOf(value) + "), which is exact up to 2^53");
    return false;
}

bool Context::join(Meeting& meeting, const Value& first, const Value& value, SourceSpan place) {
    const bool isTruth = isTribool(value.format);
    if (isTruth != isTribool(meeting.format)) {
        refuse(value.place,
               describe(first) + " and " + describe(value) +
                   " do not go together: one is a truth value and one a number",
               "write a comparison such as x != 0, or where(c, 1, 0)");
        return false;
    }
    const std::optional<Format> common =
        isTruth ? meeting.format : commonFormat(meeting.format, value.format);
    if (!common) {
        const Value& whole = value.format == Format::Int64 ? value : first;
        refuse(place,
               describe(first) + " and " + describe(value) +
                   " have no kind that holds every number of both",
               "write f64(" + textOf(whole) + "), which is exact up to 2^53");
        return false;
    }
    const bool canRepeat = !isTruth && (value.components == 1 || meeting.components == 1);
    if (value.components != meeting.components && !canRepeat) {
        refuse(place,
               describe(first) + " and " + describe(value) +
                   " have different numbers of components",
               isTruth ? "choose one component, such as .x"
                       : "they need equal numbers of components, unless one of them has only 1");
        return false;
    }
    meeting.format = *common;
    meeting.components = std::max(meeting.components, value.components);
    return true;
}

std::optional<Meeting> Context::meet(const Values& values, SourceSpan place) {
    const Value* first = nullptr; // the first whose format is fixed
    Meeting meeting;
    bool hasNumber = false;
    for (const Value* const value : values) {
        if (value->isBad())
            return std::nullopt;
        hasNumber = hasNumber || value->sort == Value::Sort::Number;
        meeting.mayBeMissing = meeting.mayBeMissing || value->mayBeMissing;
        if (value->isOpen())
            continue;
        if (first && !join(meeting, *first, *value, place))
            return std::nullopt;
        if (!first) {
            first = value;
            meeting.format = value->format;
            meeting.components = value->components;
        }
    }
    if (!first && !hasNumber) {
        refuse(place, "missing has no kind here", "write its kind, such as f32(missing)");
        return std::nullopt;
    }
    meeting.format = working(meeting.format);
    for (const Value* const value : values)
        if (value->sort == Value::Sort::Number && !joinNumber(meeting, first, *value))
            return std::nullopt;
    return meeting;
}

bool Context::joinNumber(const Meeting& meeting, const Value* first, const Value& number) {
    if (!isTribool(meeting.format))
        return fits(number, meeting.format, first);
    refuse(number.place, describe(number) + " is no truth value", "write true or false");
    return false;
}

std::optional<Meeting> Context::meetAsArms(const Values& values, SourceSpan place) {
    const std::optional<Meeting> meeting = meet(values, place);
    if (meeting && meeting->format == Format::Int64)
        for (const Value* const value : values)
            if (!value->isOpen() && value->components != meeting->components) {
                refuse(value->place,
                       describe(*value) + " cannot be repeated: there is no arithmetic of i64",
                       "write f64(" + textOf(*value) + "), which is exact up to 2^53");
                return std::nullopt;
            }
    return meeting;
}

Register Context::side(const Value& value, const Meeting& meeting) {
    const SourceSpan place = writer.currentPlace();
    Register result;
    if (value.isOpen()) {
        writer.setPlace(value.place);
        result = value.sort == Value::Sort::Number ? writer.number(meeting.format, value.literal)
                                                   : writer.missing(meeting.format, 1);
        writer.setPlace(place);
        return result;
    }
    // Beside a float that cannot hold it, an integer would be rounded.
    return isInteger(value.format) && isFloat(meeting.format)
               ? writer.convert(value, meeting.format)
               : writer.load(value);
}

Register Context::arm(const Value& value, const Meeting& meeting) {
    if (!value.isOpen())
        return value.components == meeting.components
                   ? writer.load(value)
                   : writer.spread(value, meeting.format, meeting.components);
    const SourceSpan place = writer.currentPlace();
    writer.setPlace(value.place);
    const Register result = value.sort == Value::Sort::Number
                                ? writer.number(meeting.format, value.literal, meeting.components)
                                : writer.missing(meeting.format, meeting.components);
    writer.setPlace(place);
    return result;
}

std::optional<Register> Context::condition(const Value& value, std::string_view user,
                                           std::int32_t components) {
    if (value.isBad())
        return std::nullopt;
    if (value.sort == Value::Sort::Missing)
        return writer.unknown(components);
    if (value.isTruth())
        return writer.settle(value);
    const bool isBit = user == "\"&\"" || user == "\"|\"" || user == "\"~\"";
    refuse(value.place,
           std::string(user) + " takes truth values, and " + describe(value) + " is a number",
           isBit ? "put each comparison in parentheses, or use \"and\", \"or\" and \"not\", which "
                   "bind less tightly"
           : value.sort == Value::Sort::Number
               ? "write true, false or a comparison"
               : "write a comparison such as " + textOf(value) + " != 0");
    return std::nullopt;
}

} // namespace Fenlet::Formulas
