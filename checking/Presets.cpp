#include "checking/Presets.h"

#include "host/Queries.h"
#include "host/StringHelpers.h"

#include <string_view>
#include <vector>

namespace zutools {

namespace {

constexpr std::u16string_view EveryParameter = u"<Default>";

// Control characters but tab and line breaks; marks that turn the direction of text round; separators that
// end a line of script; characters that a page in another code page writes as "<", ">" or a quote; no
// characters.
constexpr std::u16string_view WrongEverywhere =
    u"#00-#08,#11,#12,#14-#31,#127-#159,#8232-#8238,#8294-#8297,#65279,#65308,#65310,#65282,#65534,"
    u"#65535";

// What tags, attributes, entities of script and templates are made of, tab and line breaks too, and invisible
// blanks.
constexpr std::u16string_view WrongInOneLine = u"<,>,'\"',=,`,{,},[,],\\,|,^,#09-#13,#8203,#8288,#65533";

// Escaped signs and the ends of script strings, which one line of text has no use for.
constexpr std::u16string_view WordsInOneLine =
    u"%22,%27,%5b,%5d,%60,%7b,%7d,&quot;,&apos;,&equals;,&amp;,\"';\",\"')\",\"'+\",\"'-a\",\"'-p\","
    u"\"'-c\",\"'&&\",\"'//\"";

// A browser takes "<" for a tag only before a letter of A to Z, "/", "!" or "?": "5 < 7" and "<3" may pass.
constexpr std::u16string_view Tags =
    u"<a,<b,<c,<d,<e,<f,<g,<h,<i,<j,<k,<l,<m,<n,<o,<p,<q,<r,<s,<t,<u,<v,<w,<x,<y,<z,</,<!,<?,<%,"
    u"'< script','< /script','< img','< svg','< iframe','< object','< embed','< link','< style','< meta'";

// "onload=" and its like; some letters before "=" are common to ordinary words, hence the sign. The names
// that are unmistakable are refused without it, whatever blanks stand before the sign.
constexpr std::u16string_view Handlers =
    u"onload,onerror,onclick,ondblclick,onmouseover,onmouseout,onmouseenter,onmouseleave,onmousemove,"
    u"onmousedown,onmouseup,onfocus,onblur,onsubmit,onkeydown,onkeyup,onkeypress,onunload,"
    u"onbeforeunload,onanimation,ontransition,onpointer,ontouchstart,ontouchend,ontouchmove,"
    u"ontouchcancel,ondrag=,ondragstart,ondragend,ondragover,ondrop=,onabort=,onafterprint,"
    u"onafterscript,onbeforeprint,onbeforecopy,onbeforecut,onbeforepaste,onbeforeinput,onbeforematch,"
    u"onbeforetoggle,oncancel=,oncanplay,onchange=,'onchange =',onclose=,oncontextmenu,oncopy=,"
    u"oncuechange,oncut=,ondurationchange,onemptied,onended=,onformdata,onfullscreen,ongotpointer,"
    u"onhashchange,oninput=,'oninput =',oninvalid=,onlostpointer,onmessage=,onmousewheel,onoffline=,"
    u"ononline=,onpagehide,onpageshow,onpaste=,onpause=,onplay=,onplaying=,onpopstate,onprogress=,"
    u"onratechange,onreadystatechange,onreset=,onresize=,onscroll=,onscrollend,onsearch=,onseeked,"
    u"onseeking,onselect=,onselectstart,onselectionchange,onshow=,onslotchange,onstalled=,onstorage=,"
    u"onsuspend=,ontimeupdate,ontoggle=,'ontoggle =',onunhandledrejection,onvolumechange,onwaiting=,"
    u"onwheel=,onbegin=,onend=,onrepeat=,onstart=,onfinish=,onbounce=,onactivate=,onpropertychange";

// Addresses that run script, and attributes that take an address, a page or a style.
constexpr std::u16string_view Schemes =
    u"javascript:,'javascript :',vbscript:,'vbscript :',livescript:,mocha:,data:text,data:image/svg,"
    u"data:application,data:;,'view-source:','base64,',srcdoc=,formaction,xlink:href,' style=',"
    u"'\"style=',\"'style=\",'/style=',autofocus=,'http-equiv'";

constexpr std::u16string_view Script =
    u"document.cookie,document.write,document.domain,document.location,document.body,document[,"
    u"window.location,window.open,window[,location.href,location.hash,location.assign,location.replace,"
    u"\"location='\",'location=\"',.innerhtml,.outerhtml,insertadjacenthtml,eval(,alert(,alert`,prompt(,"
    u"confirm(,settimeout(,setinterval(,fromcharcode,xmlhttprequest,fetch(,import(,importscripts,"
    u"localstorage,sessionstorage,__proto__,constructor.constructor,.constructor(,.constructor.,"
    u"constructor[,.prototype.,activexobject";

constexpr std::u16string_view Styles =
    u"expression(,'/**/',behavior:url,'behavior: url','-moz-binding',@import,url(java,url(data,url(&";

// Marks of our own templates, and of the common ones beside them.
constexpr std::u16string_view Templates = u"[[,]],{{,}},{%,'${','#{','@{'";

// The same signs in writing that some later stage may undo.
constexpr std::u16string_view Escapes =
    u"&#,&lt;,&ltscript,&ltimg,&ltsvg,&lt/,&gt;,&colon;,&tab;,&newline;,&lpar;,&rpar;,&lbrace;,&lsqb;,"
    u"&lbrack;,&lcub;,&grave;,&amp;lt;,&amp;#,%00,%0d%0a,%3c,%3e,%253c,%253e,%25253c,%u003c,%uff1c,"
    u"%c0%bc,%c0%ae,%e0%80%bc,\\x3c,\\x3e,\\x22,\\x27,\\u003c,\\u003e,\\u{3c,\\u0022,\\u0027,\\u006,"
    u"\\u007,\\074,'+adw-','+ad4-','+aci-'";

/// A browser drops tabs and line breaks inside the name of a scheme.
std::u16string BrokenSchemes() {
    std::u16string Words;
    for (const std::u16string_view Name : {u"javascript:", u"vbscript:"}) {
        for (std::size_t At = 1; At < Name.size(); ++At) {
            for (const std::u16string_view Break : {u"\t", u"\n", u"\r", u"\r\n"}) {
                Words += u'\'';
                Words += Name.substr(0, At);
                Words += Break;
                Words += Name.substr(At);
                Words += u"',";
            }
        }
    }
    return Words;
}

/// The words with each "i" both small and capital. Pages know the letter case of A to Z only, but in Turkish
/// and Azeri the small letter's upper case is "İ", so there "script" does not find "SCRIPT".
std::u16string InBothLettersI(std::u16string_view Words) {
    std::u16string Result;
    std::u16string Word;
    while (KX_GetNextParam(Words, u",", Word)) {
        std::vector<std::u16string> Spellings{Word};
        for (std::size_t At = Word.find(u'i'); At != std::u16string::npos; At = Word.find(u'i', At + 1)) {
            for (std::size_t Index = Spellings.size(); Index-- > 0;) {
                Spellings.push_back(Spellings[Index]);
                Spellings.back()[At] = u'I';
            }
        }
        for (const std::u16string& Spelling : Spellings) Result += u',' + Spelling;
    }
    return Result;
}

void LoadPreset(TParamsConfig& Config, std::u16string_view Name, const std::u16string& WrongValues) {
    Config.Clear();
    Config.FilterName = Name;
    Config.AddParams(EveryParameter, WrongValues, u"");
}

} // namespace

std::u16string MediumWrongValues() {
    std::u16string Rule(WrongEverywhere);
    for (const std::u16string_view Words : {Tags, Handlers, Schemes, Script, Styles, Templates, Escapes}) {
        Rule += InBothLettersI(Words);
    }
    return Rule + InBothLettersI(BrokenSchemes());
}

std::u16string HighWrongValues() {
    std::u16string Rule(WrongInOneLine);
    Rule += InBothLettersI(WordsInOneLine);
    return Rule + u',' + MediumWrongValues();
}

void LoadHighPreset(TParamsConfig& Config) {
    LoadPreset(Config, u"High", HighWrongValues());
}

void LoadMediumPreset(TParamsConfig& Config) {
    LoadPreset(Config, u"Medium", MediumWrongValues());
}

void SeedReservedFilters(const TCheckParamsDBConfig& Filters) {
    constexpr int MediumID = 1;
    if (!Filters.TablesExists()) return;
    TTransaction Transaction(*Filters.Database());
    TParamsConfig Medium;
    const bool HasRules = Filters.ReadCheckParamsByID(MediumID, Medium, TCheckParamsDBConfig::All) &&
                          Medium.ParamsCfgCount() > 0;
    TParamsConfig Preset;
    LoadHighPreset(Preset);
    // Gives both filters the rules of High; Medium gets its own after that.
    Filters.SetDefaultParams(Preset);
    if (!HasRules) {
        LoadMediumPreset(Preset);
        Filters.SetCheckParamsByID(MediumID, Preset, TCheckParamsDBConfig::RulesOnly);
    }
    Transaction.Commit();
}

} // namespace zutools
