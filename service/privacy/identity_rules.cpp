#include <array>

#include "privacy/rules.h"

namespace callhome::service {
namespace {

// Whole runs of the characters of an address: the check says which of them are one.
constexpr std::array identities{
    MaskRule{".", Check::ipv4, R"(([0-9]{1,3}(?:\.[0-9]+){3,}(?:/[0-9]{1,2}\b)?))"},
    MaskRule{":", Check::ipv6,
             R"(([0-9A-Fa-f.]*:[0-9A-Fa-f:.]*:[0-9A-Fa-f:.]*(?:%%[\w.-]+)?(?:/[0-9]{1,3}\b)?))"},
    MaskRule{":", Check::hardware_address, R"(((?:[0-9A-Fa-f]{2}:){5,}[0-9A-Fa-f]{2}))"},
    MaskRule{"-", Check::hardware_address, R"(((?:[0-9A-Fa-f]{2}-){5,}[0-9A-Fa-f]{2}))"},
    MaskRule{".", Check::hardware_address, R"(((?:[0-9A-Fa-f]{4}\.){2,}[0-9A-Fa-f]{4}))"},

    MaskRule{"serial", Check::anything,
             R"((?i)\bserial[ _-]?(?:number|num|nr|no)\b\.?["']?~(?:\([^)]*\)~)?(?:[:=#,]|)"
             R"(\bis\b|\.{2,}:?)~\\?["']?([\w./-]{2,}\w))"},
    MaskRule{"serial", Check::if_random, R"((?i)\bserial[ _-]?(?:number|num|nr|no)\b\.? ([\w-]+))"},
    MaskRule{"serial", Check::anything,
             R"((?i)\b(?:\w+_)?serial(?:_short|#)?["']?~[:=#]~["']?([\w-]{4,})(?:[\s,;"'}<]|$))"},
    MaskRule{"serial", Check::anything, R"((?i)<[\w:.-]*serial[\w-]*>([^<>]+))"},
    MaskRule{"board id", Check::anything, R"((?i)\bboard id[:=]? ([\w-]+))"},
    MaskRule{"sn|s/n", Check::anything, R"(\b(?:SN|S/N|sn|s/n)~[:=#]~["']?([\w-]{4,}))"},
    MaskRule{"tag", Check::anything, R"((?i)\b(?:service|asset)[ _-]tag["']?~[:=]~["']?([\w-]{3,}))"},
    MaskRule{"wwn", Check::anything,
             R"((?i)\bww[np]n?\b["']?~[:=]~["']?((?:0x)?[0-9a-f][0-9a-f :-]*[0-9a-f]))"},
    MaskRule{"uuid|guid|machine|system-id|product", Check::anything,
             R"((?i)(?:uuid|guid|machine[ _-]?id|system[ _-]?id|product[ _-]?id))"
             R"(.{0,40}?\b([0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12})\b)"},
    MaskRule{"machine", Check::anything, R"((?i)\bmachine[ _-]?id["']?~[:=]~["']?([0-9a-f]{32})\b)"},
};

// Numbers of versions look like addresses; what stands around them tells.
constexpr std::array kept{
    MaskRule{"version|release|revision|rev|ver", Check::anything,
             R"((?i)\b(?:\w+[_-])?(?:version|release|revision|rev|ver)\b[."'):=,]*~(?:\(|\[))"
             R"(?(?:(?:is|was|string|number|installed|running)[:=]? )?["']?v?(\d+(?:\.\d+))"
             R"(+(?:[\w.+~:()-]*\w)?))"},
    MaskRule{"firmware|bios|fpga|cpld|microcode|loader|build", Check::anything,
             R"((?i)\b(?:firmware|bios|fpga|cpld|microcode|loader|build))"
             R"([:=]?~["'(]?v?(\d+(?:\.\d+)+(?:[\w+~-]*\w)?))"},
    MaskRule{
        "software|kernel|driver|package|patch|image", Check::anything,
        R"((?i)\b(?:software|kernel|driver|package|patch|image) ["'(]?v?(\d+(?:\.\d+)+(?:[\w+~-]*\w)?))"},
    MaskRule{"grad", Check::anything,
             R"((?i)\b(?:up|down)grad\w* (?:\S+ )??(?:from )?v?(\d+(?:\.\d+)+[\w+~-]*) (?:to|->|)"
             R"(=>) v?(\d+(?:\.\d+)+[\w+~-]*))"},
    MaskRule{".", Check::anything,
             R"([A-Za-z][\w+.]*[_-]v?(\d+(?:\.\d+)+(?:[\w.+~-]*?)??)(?:[_.-](?:amd64|arm64|)"
             R"(armhf|i386|all|noarch|x86_64|linux|src))?\.(?:deb|rpm|tar|tgz|zip|so|ko|bin|img|)"
             R"(iso|swi|jar|gz|whl|xz|pkg|apk|ipk)\b)"},
    MaskRule{".so.", Check::anything, R"(\.so\.(\d+(?:\.\d+)*))"},
    MaskRule{".", Check::anything, R"(^~(?:ii|rc|hi|un|pn) \S+ (?:\d+:)?(\d+(?:\.\d+)+\S*) )"},
    MaskRule{".", Check::anything,
             R"(\b(\d+(?:\.\d+){3,}[-+~][\w.+~-]*?(?:deb|ubuntu|el|fc|rc|beta|alpha|git|bpo|)"
             R"(dfsg)\d*[\w.+~-]*))"},
    MaskRule{"oid|objectid|iso|enterprises|snmpv2", Check::anything,
             R"((?i)\b(?:sys)?(?:o(?:bject)?id|iso|enterprises|snmpv2-smi))"
             R"(\S*?[\s:=.]+["']?(?:OID:~)?\.?(\d+(?:\.\d+)+))"},
    MaskRule{"1.3.6.", Check::anything, R"((?:^|[\s"'(=:,])(\.?1\.3\.6\.[\d.]+))"},
    MaskRule{"section|chapter|clause|rfc", Check::anything,
             R"((?i)\b(?:section|chapter|clause|rfc~\d+,) (\d+(?:\.\d+)+))"},
    MaskRule{"pwd=", Check::anything, R"((?i)\b(?:old)?pwd=(/\S*))"},
    MaskRule{"[", Check::anything, R"(^-?(?:auth|account|password|session) (\[[^\]]*\].*))"},
    MaskRule{"communit", Check::anything,
             R"((?i)\bcommunit(?:y|ies)\b["']?~[:=]?~((?:(?:\d+:\d+(?::\d+)?|0x[0-9a-f]{8}|)"
             R"(no-export|no-advertise|no-peer|local-as|internet|graceful-shutdown|blackhole|)"
             R"(additive|none)\b[\s,]*)+))"},
};

}  // namespace

std::span<const MaskRule> identity_rules() {
    return identities;
}

std::span<const MaskRule> kept_rules() {
    return kept;
}

}  // namespace callhome::service
