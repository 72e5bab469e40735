// What the tools refuse: nothing is changed or printed, and the message says why.
#include "Typed.h"

namespace {

std::string many(int count, const std::string& text = "x") {
    return count == 0 ? "" : text + many(count - 1, text);
}

TEST_F(Wdltctl, AndItsNeighboursRefuseWhatMakesNoSense) {
    done("add rules Bank --index 2");
    done("add items card 4711");
    done("add items twice");
    done("add items twice");
    done("wdltreg set A n sz x");
    expectRefused({
        {"", 2, "A subcommand is required (--help shows the usage)"},
        {"init --force --install ''", 2, "a directory is given in full"},
        {"init --force --install Guard", 2, "a directory is given in full"},
        {"init --force --install D:Guard", 2, "a directory is given in full"},
        {"init --force --install 1:\\x", 2, "a directory is given in full"},
        {"init --force --install /" + many(255), 2, "at most 259 bytes"},

        {"stauts", 2, "stauts: no such verb; did you mean status?"},
        {"status --jsno", 2, "--jsno: no such option; did you mean --json?"},
        {"list nope", 2, "nope: no such list; there are redirects, rules, items, patterns"},
        {"list rulez", 2, "rulez: no such list; did you mean rules?"},
        {"add urls blakc x", 2, "blakc: no such urls list; did you mean black? There are white, black"},
        {"add urls black -x", 2, "-x: no such option; there are"},
        {"check-url x --list blck", 2, "did you mean black?"},
        {"enable something", 2, "no such feature; there are pvs, svs, wmvs, hfs, urlf, hosf, aspm, hfe, sal, pdp"},
        {"enable hsof", 2, "hsof: no such feature; did you mean hosf?"},
        {"enable pvs --protocol pop3", 2, "--protocol: pvs is switched as a whole"},
        {"enable pdp --protocol htp", 2, "did you mean http? There are smtp, http, 4, 5, 6, 7"},
        {"enable ie --option 1", 2, "--option: ie has none"},

        {"follow http://store/wardlet", 2, "etcd://"},
        {"follow etcd://store/wardlet --machine a/b", 2, "--machine: 1 to 255 characters without slash and blank"},
        {"follow etcd://store/wardlet --group ''", 2, "--group: 1 to 255 characters"},
        {"follow etcd://store/wardlet --on-drift leave", 2, "--on-drift"},
        {"follow etcd://store/wardlet --lease 2s", 2, "--lease"},
        {"follow etcd://127.0.0.1:1/wardlet --once", 3, "http://127.0.0.1:1: Failed to connect"},
        {"follow etcd://127.0.0.1:1/wardlet --once --token-file no/such/file", 3, "no/such/file: No such file"},
        {"fleet", 2, "A subcommand is required"},
        {"fleet status etcd://127.0.0.1:1/wardlet", 3, "http://127.0.0.1:1: Failed to connect"},

        {"get sytem", 2, "sytem: no such record; did you mean system?"},
        {"get system port", 2, "port: no such field of system; did you mean proxy-port?"},
        {"get virus file", 2, "did you mean files? There are pop3, smtp, http, files"},
        {"set system proxyPort=1 bmFlag", 2, "bmFlag: FIELD=VALUE expected"},
        {"set system proxyPort=1 proxy-port=2", 2, "proxyPort: the field is given twice"},
        {"set system proxyPort=1 handlerCount=1", 2, "handlerCount: the field is read only"},
        {"set system proxyPort=0", 2, "\"0\" isn't a number from 1 to 65535"},
        {"set system tempPath=/" + many(258), 2, "the text takes 260 bytes, 259 have room"},
        {"set system installPath=Guard", 2, "a directory is given in full"},
        {"set pvs dwLimitSize=700000", 2, "\"700000\" isn't a number from 0 to 655359"},
        {"set urlf-proxy szProxyPassword=@-", 2, "nothing in the standard input", "\n"},
        {"set urlf-proxy szProxyPassword=@no/such/file", 5, "no/such/file: No such file"},
        {"reset mail dwEntPerMsg", 2, "dwEntPerMsg: the field is read only"},
        {"reset handler POP3 filename", 2, "filename: a fresh installation has none of its own"},
        {"reset virus imap", 2, "imap: no such place"},
        {"set urlf dwUserDefinedCredLevel=-2147483649", 2, "from -2147483648 to 2147483647"},

        {"get handler IMAP", 2, "IMAP: no such handler; there are POP3, SMTP, HTTP"},
        {"set handler POP3 enable=1 type=2", 2, "type: the field is read only"},
        {"set handler POP3 scan=12345678901", 2, "the text takes 11 bytes, 10 have room"},
        {"set http szTargetRequestMethods=GET,,PUT", 2, "\"\" isn't a name of 1 to 16 bytes"},
        {"set http szTargetRequestMethods=" + many(17), 2, "isn't a name of 1 to 16 bytes"},
        {"set http szTargetRequestMethods=x" + many(32, ",x"), 2, "33 names, at most 32 have room"},

        {"add redirects POP3 Mail", 2, "one of --process, --image and --port is needed"},
        {"add redirects POP3 a\\b --port 1", 2, "none of them a backslash"},
        {"add redirects POP3 12345678901 --port 1", 2, "SESSION: at most 10 characters"},
        {"add redirects POP3 Mail --process 1234567890123456", 2, "process: at most 15 bytes"},
        {"add redirects POP3 Mail --process x --flag 16", 2, "an image is meant"},

        {"add redirects POP3 Mail --port 70000", 2, "--port: Value 70000 not in range 0 to 65535"},
        {"add urls black -x", 2,
         "-x: no such option; there are --help, --json, --secrets, --verbose, --version (behind -- a word"},

        {"add rules bank", 2, "there is a rule bank already"},
        {"add rules new --index 2", 2, "index 2 is that of Bank"},
        {"add rules a\\b", 2, "RULE: 1 to 199 characters, none of them a backslash"},
        {"add rules " + many(200), 2, "RULE: at most 199 characters"},
        {"add rules new --domain " + many(256), 2, "--domain: at most 255 characters"},
        {"remove rules", 2, "rules are needed, or --all"},
        {"remove rules Bank nobody", 2, "nobody: no such rule"},
        {"remove rules 2", 2, "2: no such rule; --index 2 removes by index"},
        {"remove rules Bank --index 1", 2, "no rule has the index 1"},

        {"add items n " + many(33), 2, "TEXT: 33 bytes in utf-8, at most 32"},
        {"add items Empty ''", 2, "TEXT: an empty text is never found"},
        {"add items Empty -", 2, "TEXT: an empty text is never found", "\nmore"},
        {"add items n \xFF", 2, "TEXT: not a text that utf-8 can hold"},
        {"add items " + many(36), 2, "NAME: at most 35 bytes"},
        {"add items n --description " + many(68), 2, "--description: at most 67 bytes"},
        {"add items n --index 0", 2, "index 0 has an item already"},
        {"add items n --index 32", 2, "--index: Value 32 not in range 0 to 31"},
        {"remove items 0 7", 2, "no item has the index 7"},
        {"remove items", 2, "an INDEX or --name is needed"},
        {"remove items --name Card", 2, "no item has the name Card"},
        {"remove items --name twice", 2, "2 items have the name twice: their indexes are 1, 2"},
        {"remove items --name card 0", 2, "no item has the index 0"},
        {"import items -", 2, "not a JSON list", "{}"},
        {"import items -", 2, "no item is there; --allow-empty", "[]"},
        {"import items -", 2, "item 1: not an object", "[1]"},
        {"import items -", 2, "item 1: an index is 0 to 31", "[{}]"},
        {"import items -", 2, "item 2: index 0 is there twice", R"([{"index": 0}, {"index": 0}])"},
        {"import items -", 2, "item 1, index: not a number", R"([{"index": -1}])"},
        {"import items -", 2, "item 1, name: not a text", R"([{"index": 0, "name": 5}])"},
        {"import items -", 2, "item 1, nam: no such field", R"([{"index": 0, "nam": ""}])"},
        {"import items -", 2, "item 1, text: hidden, and no item", R"-([{"index": 5, "text": "(secret)"}])-"},

        {"raw read 10000x 0", 2, "PROTOCOL: \"10000x\" isn't a number from 0 to 4294967295"},
        {"raw read 10000 0 --json --out -", 2, "both ask for the standard output"},
        {"raw read 10000 0 --size 863", 5,
         "status -2 (buffer size is wrong for the record): the record takes 864 bytes"},
        {"raw write 10000 0 -", 5, "the file has 5 bytes, the address takes 864", "short"},
        {"raw write 10000 0 no/such/file", 5, "no/such/file: No such file"},

        {"wdltreg", 2, "A subcommand is required"},
        {"wdltreg import no/such/file", 5, "no/such/file: No such file or directory"},
        {"wdltreg export Z", 1, "HKEY_LOCAL_MACHINE\\Z: no such key"},
        {"wdltreg export -o /no/such/folder/f", 5, "No such file or directory"},
        {"wdltreg query A z", 1, "HKEY_LOCAL_MACHINE\\A: no value \"z\""},
        {"wdltreg query A\\\\B", 5, "malformed key name (error 161)"},
        {"wdltreg qurey A", 2, "did you mean query?"},
        {"wdltreg delete HKLM", 2, "can't be deleted"},
        {"wdltreg delete A z", 1, "no value \"z\""},
        {"wdltreg set A n text x", 2, "text: no such type; there are sz, expand_sz"},
        {"wdltreg set A n dword ''", 2, "not a number of 32 bits"},
        {"wdltreg set A n binary 0", 2, "not bytes of two hexadecimal digits each"},
        {"wdltreg set A n multi_sz a\\0\\0b", 2, "a text of the list is empty"},
        {"wdltreg set A n\xFF sz x", 2, "isn't valid UTF-8"},
        {"wdltreg set HKEY_CURRENT_USER\\A n sz x", 2, "the one root is HKEY_LOCAL_MACHINE"},
        {"wdltreg set New " + many(256) + " sz x", 5, "HKEY_LOCAL_MACHINE\\New"},

        {"wardlet-acl --undecided okk", 2, "okk: no such answer; did you mean ok?"},
        {"wardlet-peer --delay -1", 2, "Value -1 not in range 0 to 3600000"},
        {"wardlet-peer --reply 4294967296", 2, "--reply = 4294967296"},
    });
}

TEST_F(Wdltctl, AFullDiskIsTold) {
    EXPECT_EQ(startProgram({"wdltreg", "export"}, ">/dev/full").wait(), 5);
}

} // namespace
