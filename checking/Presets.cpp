#include "checking/Presets.h"

#include "host/Queries.h"

#include <string_view>

namespace zutools {

namespace {

constexpr int MediumID = 1;

// Control characters but tab, line feed and carriage return, which forms send; and what is invisible:
// zero-width characters, marks of direction, the byte-order mark. They hide words from a reader and from a
// search.
constexpr std::u16string_view Invisible =
    u"#0-#8,#11,#12,#14-#31,#127-#159,#173,#8203-#8207,#8234-#8238,#8288-#8292,#65279";

// What calls a script without a tag. A blank between the name and "=" is allowed in markup, so "=" is left
// out where no ordinary word holds the name; "onkey" would refuse a monkey, "ondrag" Mondragon.
constexpr std::u16string_view Handlers =
    u"onload,onerror,onclick,ondblclick,oncontextmenu,onmousedown,onmouseup,onmousemove,onmouseover,"
    u"onmouseout,"
    u"onmouseenter,onmouseleave,onfocus,onblur,onchange,oninput,oninvalid,onsubmit,onreset,onselect,"
    u"onkeydown,onkeyup,"
    u"onkeypress,onscroll,onresize,onwheel,ontoggle,onpointer,ontouchstart,ontouchend,ontouchmove,"
    u"onanimation,"
    u"ontransition,ondragstart,ondragend,ondragover,ondrop,onpaste,onbeforeinput,onbeforeunload,onunload,"
    u"onhashchange,"
    u"onpageshow,onmessage,onbegin=,onend=,onplay=,onshow=,oncut=,oncopy=";

// Addresses that run code or bring a page along, and the places in styles and attributes that take them.
constexpr std::u16string_view Schemes =
    u"javascript,vbscript,livescript,'data:text','data:image/svg','data:application',"
    u"'expression(','url(',@import,'moz-binding',srcdoc,'xlink:href',formaction";

// The same characters in other clothes: entities, address escapes, escapes of script and style.
constexpr std::u16string_view Encoded =
    u"'&#','&lt','&gt','&quot','&colon','&tab','&newline',%3c,%3e,%22,%00,%0a,%0d,"
    u"'\\u00','\\u{','\\x','\\0'";

// The marks of our own templates.
constexpr std::u16string_view TemplateMarks = u"'[[',']]','{{','}}'";

/// Every beginning of a tag: "<" with a letter behind it, and the special ones.
std::u16string Tags() {
    std::u16string Result = u"'</','<!','<?','<%'";
    for (char16_t Letter = u'a'; Letter <= u'z'; ++Letter) {
        Result += u",'<";
        Result += Letter;
        Result += u'\'';
    }
    return Result;
}

std::u16string Joined(std::initializer_list<std::u16string_view> Parts) {
    std::u16string Result;
    for (const std::u16string_view Part : Parts) {
        if (!Result.empty()) Result += u',';
        Result += Part;
    }
    return Result;
}

} // namespace

std::u16string HighPreset() {
    constexpr std::u16string_view Characters = u"<,>,'\"','`',=,'[',']','{','}','\\','|','^','~',';','$'";
    // Wide and raised forms of "<" and ">" that some databases turn into the plain ones.
    constexpr std::u16string_view Look = u"#8249,#8250,#12296,#12297,#65308,#65310";
    return Joined({Characters, Look, Invisible, Handlers, Schemes, Encoded, u"'data:'"});
}

std::u16string MediumPreset() {
    return Joined({Invisible, Tags(), Handlers, Schemes, Encoded, TemplateMarks});
}

void SeedReservedFilters(const TCheckParamsDBConfig& Filters) {
    if (!Filters.TablesExists() || Filters.DataExists()) return;
    TParamsConfig High;
    High.AddParams(u"<Default>", HighPreset(), {});
    TParamsConfig Medium;
    const bool HasMedium = Filters.ReadCheckParamsByID(MediumID, Medium, TCheckParamsDBConfig::All) &&
                           Medium.ParamsCfgCount() > 0;

    TTransaction Transaction(*Filters.Database());
    Filters.SetDefaultParams(High); // gives both the same rules
    if (!HasMedium) {
        Medium.ClearParams();
        Medium.AddParams(u"<Default>", MediumPreset(), {});
        Filters.SetCheckParamsByID(MediumID, Medium, TCheckParamsDBConfig::RulesOnly);
    }
    Transaction.Commit();
}

} // namespace zutools
