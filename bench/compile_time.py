#!/usr/bin/env python3
"""What compiling generated code costs: 200 structs, against the same types with the same operators written by hand.

    bench/compile_time.py [BUILD_DIRECTORY]        (default: build/release)

Both are compiled in turns by $CXX, else c++, with -O2, and so is a file that includes the library's header and nothing
else, which is part of both. Prints the medians of processor seconds and exits with 1 when the generated unit takes 1.5
times as long as the other one, or more.
"""

import os
import pathlib
import resource
import statistics
import subprocess
import sys
import tempfile

COUNT = 200
RUNS = 3
LIMIT = 1.5

DEFINITION = """\
struct Record{n} {{
    long number;
    double value;
    string name;
    sequence<string> lines;
    unsigned short copies;
    {other} other;
}};
"""

HEADER = """\
struct Record{n} {{
    CORBA_Long number = 0;
    CORBA_Double value = 0;
    CORBA_String_var name;
    TRXSequence<char*, TRXStringElement> lines;
    CORBA_UShort copies = 0;
    {other} other{{}};
}};
CORBA_TypeCode* typeOfRecord{n}();
TRXostream& operator<<(TRXostream&, const Record{n}&);
TRXistream& operator>>(TRXistream&, Record{n}&);
std::ostream& operator<<(std::ostream&, const Record{n}&);
std::istream& operator>>(std::istream&, Record{n}&);
void operator<<=(CORBA_Any&, const Record{n}&);
bool operator>>=(const CORBA_Any&, Record{n}&);
"""

SOURCE = """\
CORBA_TypeCode* typeOfRecord{n}() {{
    static CORBA_TypeCode* const type = [] {{
        const TRXStructMember members[] = {{
            {{"number", _tc_long}}, {{"value", _tc_double}}, {{"name", _tc_string}},
            {{"lines", new CORBA_TypeCode(tk_sequence, 0, _tc_string, false)}}, {{"copies", _tc_ushort}},
            {{"other", {otherType}}}}};
        return new CORBA_TypeCode(tk_struct, "IDL:Record{n}:1.0", "Record{n}", members, false);
    }}();
    return type;
}}
TRXostream& operator<<(TRXostream& stream, const Record{n}& value) {{
    return stream << value.number << value.value << value.name << value.lines << value.copies << value.other;
}}
TRXistream& operator>>(TRXistream& stream, Record{n}& value) {{
    return stream >> value.number >> value.value >> value.name >> value.lines >> value.copies >> value.other;
}}
std::ostream& operator<<(std::ostream& stream, const Record{n}& value) {{
    TRXostream text(stream);
    text << value;
    return stream;
}}
std::istream& operator>>(std::istream& stream, Record{n}& value) {{
    TRXistream text(stream);
    text >> value;
    return stream;
}}
void operator<<=(CORBA_Any& any, const Record{n}& value) {{
    CORBA_MarshalOutBuffer buffer(255);
    buffer << value;
    any.replace(typeOfRecord{n}(), buffer);
}}
bool operator>>=(const CORBA_Any& any, Record{n}& value) {{
    const CORBA_TypeCode_var held = any.type();
    if (!typeOfRecord{n}()->equal(held))
        return false;
    CORBA_MarshalInBuffer octets(static_cast<const char*>(any.value()), static_cast<CORBA_ULong>(any.length()));
    octets >> value;
    return true;
}}
"""


def write_units(folder, harbidl):
    def texts(template, first, first_type=""):
        return "".join(template.format(n=n, other=f"Record{n - 1}" if n % 4 else first,
                                       otherType=f"typeOfRecord{n - 1}()" if n % 4 else first_type)
                       for n in range(COUNT))
    (folder / "records.idl").write_text(texts(DEFINITION, "boolean"))
    subprocess.run([harbidl, "-o", folder, folder / "records.idl"], check=True)
    (folder / "by_hand.h").write_text("#pragma once\n#include <harbolance/corba.h>\n" + texts(HEADER, "CORBA_Boolean"))
    (folder / "by_hand.cpp").write_text('#include "by_hand.h"\n' + texts(SOURCE, "CORBA_Boolean", "_tc_boolean"))
    (folder / "header.cpp").write_text("#include <harbolance/corba.h>\n")


def seconds_to_compile(source, folders):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([*os.environ.get("CXX", "c++").split(), "-std=c++20", "-O2",
                    *(f"-I{folder}" for folder in folders), "-c", source, "-o", source.with_suffix(".o")], check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main():
    build = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/release").resolve()
    headers = (pathlib.Path(__file__).resolve().parent.parent / "src", build / "idl/include")
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        write_units(folder, build / "bin/harbidl")
        units = ("records_stub", "by_hand", "header")
        seconds = {unit: [] for unit in units}
        for _ in range(RUNS):
            for unit in units:
                seconds[unit].append(seconds_to_compile(folder / f"{unit}.cpp", headers))
    medians = {unit: statistics.median(seconds[unit]) for unit in units}
    ratio = medians["records_stub"] / medians["by_hand"]
    print(f"generated {medians['records_stub']:.2f} s, by hand {medians['by_hand']:.2f} s, "
          f"the header alone {medians['header']:.2f} s: {ratio:.2f} times (limit {LIMIT})")
    return 0 if ratio < LIMIT else 1


if __name__ == "__main__":
    sys.exit(main())
