#include <array>

#include "privacy/rules.h"

namespace callhome::service {
namespace {

constexpr auto anything = Check::anything;
constexpr auto unless_prose = Check::unless_prose;
constexpr auto if_random = Check::if_random;

constexpr const char* of_names = "pass|pwd|psk|secret|token|credential|key|cak";

constexpr std::array rules{
    // A name and its value, as files, records, environments and options have them.
    MaskRule{of_names, unless_prose, R"((?i)%secret%%suffix%%equals%%value%)"},
    MaskRule{of_names, unless_prose, R"((?i)^~(?:[\w.-]+[ _.-])?%secret%%suffix%~[:=]~([^\s"'{\[(].*\S))"},
    MaskRule{"pass", unless_prose, R"((?i)\bpass~=~%value%)"},
    MaskRule{"pass", unless_prose, R"((?i)(?:[_-]|user|login|account|auth|priv)pass%equals%%value%)"},
    MaskRule{"communit", unless_prose,
             R"((?i)\bcommunity(?:[ _-]?(?:name|string|index|security[ _-]?name))?%equals%%value%)"},
    MaskRule{"key", if_random, R"((?i)\bkey%equals%%value%)"},
    MaskRule{of_names, unless_prose,
             R"((?i)<(?:[\w-]+:)?[\w.-]*%secret%%suffix%(?: [^<>]*)?>(?:<!\[CDATA\[)?([^<>\]]+))"},
    MaskRule{of_names, unless_prose, R"((?i)--[\w-]*(?:%secret%|pass) %value%)"},
    MaskRule{"pass|pwd|secret|token|key|sig|auth|code", unless_prose,
             R"((?i)[?&;](?:sig|signature|token|key|auth|code|pass|pwd|[\w-]*%secret%)=([^&\s#"'<>]+))"},
    MaskRule{"pin", if_random, R"((?i)\b(?:sim|wps|card|unlock)[ _-]pin%equals%%value%)"},

    // Passwords as commands take them.
    MaskRule{"enable", unless_prose, R"((?i)\benable (?:password|secret) %type%([^\s"].*\S|\S))"},
    MaskRule{"user", unless_prose,
             R"((?i)\buser(?:name)? \S+ (?:.*? )??(?:password|secret) %type%([^\s"].*?)~(?:$| role ))"},
    MaskRule{"user", unless_prose,
             R"((?i)\buser(?:name)? \S+ (?:.*? )??(?:password|secret) %type%%value%)"},
    MaskRule{"pass|secret", unless_prose,
             R"((?i)^~(?:password|passphrase|secret) %type%([^\s"'{\[(].*\S))"},
    MaskRule{"pass|pwd|secret", unless_prose,
             R"((?i)(?:pass(?:word|wd|phrase|code)|\bpwd|secret)s?[\])]? (?:(?:is|was|to|now|)"
             R"(set to|changed to) )?%type%%value%)"},
    MaskRule{"pass|secret", unless_prose,
             R"((?i)(?:password|passphrase|secret) (?:for|of) (?:user )?\S+?(?: (?:is|was|to|)"
             R"(set to|changed to) |~[:=]~)%value%)"},
    MaskRule{"pass", anything, R"((?i)\bpassword peer \S+ %type%%value%)"},
    MaskRule{"pass", anything, R"((?i)\bpassword_pbkdf2 \S+ %value%)"},
    MaskRule{"token", if_random, R"((?i)\b(?:id)?token %type%%value%)"},
    MaskRule{"idtoken", anything, R"((?i)\bidtoken %value%)"},

    // Keys of protocols.
    MaskRule{"key", unless_prose,
             R"((?i)\bkey(?:-string)? (?:0|5|6|7|8|9|10|encrypted|cipher|hidden|clear|ascii|hex) %value%)"},
    MaskRule{"key", unless_prose, R"((?i)\bkey-(?:octet-)?string %type%%value%)"},
    MaskRule{"key", anything, R"((?i)\bkey (?:authentication|accounting) (?:cipher|simple) %value%)"},
    MaskRule{"key", anything, R"((?i)\bcrypto (?:isakmp|ike|ikev1|ikev2) key %type%%value%)"},
    MaskRule{"key", anything, R"((?i)\bkey config-key (?:password-encrypt|ascii) %type%%value%)"},
    MaskRule{"shared", unless_prose,
             R"((?i)\b(?:pre-?)?shared-?(?:key|secret) (?:(?:local|remote|ascii-text|)"
             R"(hexadecimal|text|address \S+|key) )*%type%%value%)"},
    MaskRule{"key", unless_prose,
             R"((?i)\b(?:radius|tacacs\+?|ldap|aaa|server-private)(?:[ -].*?)?? key %type%%value%)"},
    MaskRule{"key", unless_prose, R"((?i)^ (?:server-)?key ("[^"]+"|\S*[a-zA-Z]\S*)~$)"},
    MaskRule{"key", unless_prose, R"((?i)\b(?:pac|server)[ -]key %type%%value%)"},
    MaskRule{"key", unless_prose,
             R"((?i)\b(?:authentication|privacy|message-digest|md5|auth|encryption|tunnel|)"
             R"(session)-key (?:\d+ (?:(?:md5|sha\S*|hmac\S*|cmac\S*|aes\S*|type \S+ value) )?))"
             R"(?%type%%value%)"},
    MaskRule{"spi", anything,
             R"((?i)\bspi \d+ (?:esp )?(?:md5|sha\S*|null|3?des|aes\S*) (?:(?:128|192|256) ))"
             R"(?%type%%value%(?: (?:md5|sha\S*) %type%%value%)?)"},
    MaskRule{"authentication", unless_prose,
             R"((?i)\b(?:standby|vrrp|glbp|hsrp)(?: .*?)?? authentication (?:text |md5 )"
             R"(key-string )?%type%%value%)"},
    MaskRule{"authentication text", unless_prose, R"((?i)\bauthentication text %value%)"},
    MaskRule{"key", anything, R"((?i)\b(?:wep|encryption) key \d (?:size \S+ )?%type%%value%)"},
    MaskRule{"wpa|psk", unless_prose, R"((?i)\b(?:wpa-)?psk %type%%value%)"},
    MaskRule{"wpa_passphrase", anything, R"((?i)\bwpa_passphrase (?:"[^"]*"|\S+) %value%)"},
    MaskRule{"set-key", anything, R"((?i)\bset-key %type%%value%)"},
    MaskRule{"cak", anything, R"((?i)\bcak %type%%value%)"},
    MaskRule{"psk|xauth|eap|ntlm|rsa|pkcs", anything,
             R"((?i):~(?:PSK|XAUTH|EAP|NTLM|RSA|ECDSA|PKCS\d+|PIN) (?:[^\s"']+ )?(?:"([^"]+)|'([^']+)))"},
    MaskRule{"psk", anything, R"((?i):~PSK %value%)"},

    // SNMP.
    MaskRule{"communit", unless_prose,
             R"((?i)\bsnmp(?:-server|-agent)? community (?:(?:read|write|ro|rw|read-only|)"
             R"(read-write) )?%type%%value%)"},
    MaskRule{"community", anything, R"((?i)\br[ow]community6? %value%)"},
    MaskRule{"community", unless_prose, R"((?i)\b(?:trap|notification)-?community %type%%value%)"},
    MaskRule{"com2sec", anything, R"((?i)\bcom2sec6? (?:-Cn \S+ )?\S+ \S+ %value%)"},
    MaskRule{"sink", anything, R"((?i)\b(?:trap2?|inform)sink \S+ %value%)"},
    MaskRule{"snmp-server host", unless_prose,
             R"((?i)\bsnmp-server host \S+ (?:(?:use-vrf|vrf|filter-vrf) \S+ )?(?:(?:traps?|)"
             R"(informs?) )?(?:version (?:1|2c|3(?: (?:auth|noauth|priv))?) )?%value%)"},
    MaskRule{"snmp-server user", anything,
             R"((?i)\bsnmp-server user .*?\bauth(?:entication)? (?:md5|sha\S*) %type%%value%)"},
    MaskRule{"snmp-server user", unless_prose,
             R"((?i)\bsnmp-server user .*?\bpriv(?:acy)? (?:%cipher% )?%type%%value%)"},
    MaskRule{
        "auth", unless_prose,
        R"((?i)\bauth(?:entication(?:-mode|-protocol)?)? (?:hmac-)?(?:md5|sha(?:-?\d+)?) %type%%value%)"},
    MaskRule{"priv", unless_prose, R"((?i)\bpriv(?:acy(?:-mode|-protocol)?)? %cipher% %type%%value%)"},
    MaskRule{"localizedkey", anything, R"((?i)(\S+) localizedkey)"},
    MaskRule{"createuser", anything,
             R"((?i)\bcreateUser (?:-e \S+ )?\S+ (?:MD5|SHA\S*) %value%(?: (?:(?:DES|AES\S*) )?%value%)?)"},
    MaskRule{"usmuser", anything, R"((?i)\busmUser (.*\S))"},
    MaskRule{"snmp", anything, R"((?i)\bsnmp[a-z]+ (?:.*? )??-c~%value%)"},
    MaskRule{"snmp", anything, R"(\b(?i:snmp[a-z]+) (?:.*? )??-A~%value%)"},
    MaskRule{"snmp", anything, R"(\b(?i:snmp[a-z]+) (?:.*? )??-X~%value%)"},

    // Secrets on command lines.
    MaskRule{
        "curl|wget|http", anything,
        R"(\b(?:curl|wget|https?) (?:.*? )??(?:-u|-U|--user|--proxy-user)[\s=]*["']?[^\s:"']+:([^\s"']+))"},
    MaskRule{"sshpass|zip|7z", anything, R"(\b(?:sshpass|zip|unzip|7z)\b(?:.*?)?? -[pP]~%value%)"},
    MaskRule{"mysql|mariadb", anything, R"(\b(?:mysql|mariadb)\w*(?: .*?)?? -p([^\s"']+|"[^"]+"|'[^']+'))"},
    MaskRule{"pass", anything, R"((?i)-pass(?:in|out|wd)? pass:%value%)"},
    MaskRule{"ldap", anything, R"(\bldap[a-z]+(?: .*?)?? -[ws]~%value%)"},
    MaskRule{"smbclient", anything, R"(\bsmbclient(?: .*?)?? -U~["']?[^\s%]+%%([^\s"']+))"},
    MaskRule{"chpasswd", anything,
             R"(\becho ["']?[^\s:"']+:([^"'|]+?)["']?~\|(?: sudo)?~(?:/\S*)?chpasswd)"},
    MaskRule{"openssl", anything, R"(\bopenssl(?: .*?)?? -k %value%)"},
    MaskRule{"ipmitool", anything, R"(\bipmitool(?: .*?)?? -P~%value%)"},
    MaskRule{"htpasswd", anything, R"(\bhtpasswd (?:-\w+ )*-\w*b\w* (?:-\w+ )*\S+ \S+ %value%)"},
    MaskRule{"login", anything, R"(\blogin (?:.*? )??(?:-p|-P) %value%)"},
    MaskRule{"-cli", anything, R"(\b\w+-cli (?:.*? )??-a %value%)"},
    MaskRule{"mosquitto", anything, R"(\bmosquitto_\w+(?: .*?)?? -P %value%)"},
    MaskRule{"useradd|usermod", anything, R"(\buser(?:add|mod)(?: .*?)?? -p %value%)"},
    MaskRule{"iwconfig", anything, R"(\biwconfig \S+ (?:.*? )??key (?:s:)?%value%)"},
    MaskRule{"bindpw|rootpw|olcrootpw", anything, R"((?i)\b(?:bindpw|rootpw|olcRootPW):? %value%)"},
    MaskRule{":", anything, R"(^~[\w.*-]*[A-Za-z.*][\w.-]*:(?:\d{3,5}|\*):[^\s:]+:[^\s:]+:(\S+)~$)"},

    // What goes with requests.
    MaskRule{"://", anything, R"(\b[A-Za-z][A-Za-z0-9+.-]*://[^\s/?#@:"'<>]*:([^\s/"'<>]+)@)"},
    MaskRule{"://", anything,
             R"(\b[A-Za-z][A-Za-z0-9+.-]*://[^\s/?#@:"'<>]*:([^\s\d/"'<>][^\s"'<>]*?)@[\w\[])"},
    MaskRule{"authorization", anything,
             R"((?i)\bauthorization\\?["']?~[:=]~\\?["']?(?:basic|bearer|digest|negotiate|ntlm|)"
             R"(token|apikey|hmac\S*|aws4\S*) (.*\S))"},
    MaskRule{"authorization", if_random, R"((?i)\bauthorization%equals%%value%)"},
    MaskRule{"bearer|basic", if_random, R"((?i)\b(?:bearer|basic) ([A-Za-z0-9+/=_.~-]+))"},
    MaskRule{"cookie", anything, R"((?i)\bcookie2?~:~([^"'\s][^"']*[^"'\s]))"},
    MaskRule{"x-", anything, R"((?i)\bx-[\w-]*(?:key|token|secret|auth\w*|password|signature)~:~%value%)"},

    // What is known by its form, wherever it stands.
    MaskRule{"$", anything,
             R"((\$(?:1|2[abxy]?|3|4|5|6|7|8|9|14|y|gy|md5|sha1|apr1|P|H|scrypt|pbkdf2[\w-]*|)"
             R"(argon2(?:id?|d))\$[./A-Za-z0-9$=,+_-]{4,}))"},
    MaskRule{
        "{", anything,
        R"((?i)(\{(?:S?SHA(?:256|384|512)?|S?MD5|CRYPT|PBKDF2[\w-]*|ARGON2\w*)\}[./A-Za-z0-9$=,+_-]{6,}))"},
    MaskRule{"pbkdf2", anything, R"((grub\.pbkdf2\.[\w.]+))"},
    MaskRule{":", anything, R"(\b[a-z_][\w-]*:([./0-9A-Za-z]{13}):\d{4,6}:)"},
    MaskRule{":", anything, R"(:([0-9A-Fa-f]{32}:[0-9A-Fa-f]{32}):)"},
    MaskRule{":", anything, R"(^~[^\s:]+:[^:]+:([0-9a-f]{32})~$)"},
    MaskRule{"secret-data", anything, R"((?i)(\S+?);?~(?:##|/\*)~SECRET-DATA)"},
    MaskRule{"private", anything, R"((?i)-----BEGIN [A-Z0-9 ]*PRIVATE KEY[A-Z ]*-----(.+?)(?:-----END|$))"},
    MaskRule{"exponent|prime|coefficient|priv", anything,
             R"((?i)\b(?:privateExponent|prime\d|exponent\d|coefficient|priv):~((?:[0-9a-f]{2}:))"
             R"({4,}[0-9a-f:\s]*[0-9a-f]))"},
    MaskRule{"eyj", anything, R"((\beyJ[\w-]{6,}\.[\w-]+(?:\.[\w-]*)*))"},
    MaskRule{"aki|asi|aro|aip", anything, R"(\b((?:AKIA|ASIA|AROA|AIPA)[0-9A-Z]{12,}))"},
    MaskRule{"gh|glpat", anything, R"(\b((?:gh[pousr]_|github_pat_|glpat-|gldt-|glrt-)[\w-]{10,}))"},
    MaskRule{"xox|xapp", anything, R"(\b((?:xox[a-z]|xapp)-[\w-]{8,}))"},
    MaskRule{"aiza|ya29", anything, R"(\b(AIza[\w-]{20,}|ya29\.[\w-]{10,}))"},
    MaskRule{"_live_|_test_", anything, R"(\b((?:sk|rk|pk|whsec)_(?:live|test)_\w{8,}))"},
    MaskRule{"sk-", if_random, R"(\b(sk-[\w-]{16,}))"},
    MaskRule{"npm_|pypi-|dop_v1|hvs.|hf_", anything, R"(\b((?:npm_|pypi-|dop_v1_|hvs\.|hf_)[\w-]{12,}))"},
    MaskRule{"sg.", anything, R"(\b(SG\.[\w-]{10,}\.[\w-]{10,}))"},
    MaskRule{"hooks.|webhook", anything,
             R"((?i)\bhttps://\S*?(?:hooks\.[\w.-]+/services|webhooks?)/(\S*[\w/-]))"},
    MaskRule{":aa", anything, R"(\b(\d{8,10}:AA[\w-]{20,}))"},
};

constexpr std::array blocks{
    BlockRule{"-----begin",
              R"((?i)-----BEGIN [A-Z0-9 ]*(?:PRIVATE KEY|STATIC KEY|ENCRYPTED)[A-Z0-9 ]*-----~$)",
              R"(^[\s|>#]*([A-Za-z0-9+/=]*|[A-Za-z-]+: .*)~$)", R"((?i)-----END )"},
    BlockRule{"---- begin", R"((?i)---- BEGIN [A-Z0-9 ]*PRIVATE KEY[A-Z0-9 ]*----~$)",
              R"(^[\s|>#]*([A-Za-z0-9+/=]*|[A-Za-z-]+: .*)~$)", R"((?i)---- END )"},
    BlockRule{"private-lines", R"(^~Private-Lines: \d+~$)", R"(^~([A-Za-z0-9+/]{4,}=*)~$)", nullptr},
    BlockRule{"private", R"((?i)^~(?:private~(?:key|exponent)?|priv):~$)",
              R"(^\s*((?:[0-9A-Fa-f]{2}:?)+)~$)", nullptr},
    BlockRule{"priv:", R"((?i)^~priv:~$)", R"(^\s*((?:[0-9A-Fa-f]{2}:?)+)~$)", nullptr},
    BlockRule{"prime", R"((?i)^~prime\d:~$)", R"(^\s*((?:[0-9A-Fa-f]{2}:?)+)~$)", nullptr},
    BlockRule{"exponent", R"((?i)^~exponent\d:~$)", R"(^\s*((?:[0-9A-Fa-f]{2}:?)+)~$)", nullptr},
    BlockRule{"coefficient", R"((?i)^~coefficient:~$)", R"(^\s*((?:[0-9A-Fa-f]{2}:?)+)~$)", nullptr},
    BlockRule{"community", R"((?i)^~Community (?:Group|Access|Context|View)\b[^:]*$)",
              R"(^\s*(\S+)(?:\s.*)?$)", nullptr},
    BlockRule{"key", R"((?i)^~Auth(?:entication)? key (?:MD5 )?String)", R"(^\s*(?:-+|\d+ (\S+).*)$)",
              nullptr},
};

}  // namespace

std::span<const MaskRule> secret_rules() {
    return rules;
}

std::span<const BlockRule> block_rules() {
    return blocks;
}

}  // namespace callhome::service
