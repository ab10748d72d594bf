#!/usr/bin/env python3
"""The body of scripts/aidl-check.sh: compares the host interface library (host/jorv) with the code
the AIDL compiler generates from aidl/.

Both sides are reduced to the same signature table, one fact per line, and the two tables are
diffed. The table holds, per interface: the descriptor, the stability, the public declarations of
IFoo other than its methods, each method with its arguments (direction, type, name, nullability),
its return, its transaction code and the flags the proxy sends it with, which method the stub runs
for each code, the public declarations of BnFoo, the static members of BpFoo and the delegator
class; per parcelable: the descriptor, the stability, the fields in declared order with their types,
and the order and nullability in which readFromParcel and writeToParcel handle them.

The compiler Debian ships is older than the one the device build uses. What only its age explains
is listed in KNOWN_DIFFERENCES and applied to its side of the table before the comparison.

Exit status: 0 when the tables match, 1 when they differ (the diff is printed), 2 when the check
itself could not run (no compiler, a compile error, code it cannot read).

Environment: AIDL_DIR and JORV_DIR replace aidl/ and host/jorv; AIDL names the compiler.
"""

import difflib
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# The frozen version aidl/ holds; the compiler stamps it into the generated code.
INTERFACE_VERSION = 1

EXIT_MISMATCH = 1
EXIT_ERROR = 2

# Annotations the installed compiler rejects and the gate therefore removes from its copy of
# aidl/, with what the comparison does instead. Any other annotation it rejects stops the gate:
# someone has to decide what it means for the generated code before it can be ignored.
STRIPPED_ANNOTATIONS = {
    "VintfStability": "the generated side takes the stability of each type from the annotation in "
    "aidl/ instead of from the generated code",
}

# Meta-transactions every versioned interface answers besides its own methods.
GET_INTERFACE_VERSION_CODE = 16777214
GET_INTERFACE_HASH_CODE = 16777213


class GateError(Exception):
    pass


# ---- Reading C++ ---------------------------------------------------------------------------------

_LEXEMES = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.S)


def mask(text):
    """Comments and preprocessor lines removed, every string literal replaced by "...", so braces
    and semicolons inside them do not confuse the structure."""

    def repl(m):
        s = m.group(0)
        if s.startswith('"'):
            return '"..."'
        if s.startswith("'"):
            return "' '"
        return " " + "\n" * s.count("\n")

    text = _LEXEMES.sub(repl, text)
    return re.sub(r"^[ \t]*#.*$", "", text, flags=re.M)


def block_end(text, open_pos):
    """Index just past the brace that closes the one at open_pos."""
    depth = 0
    for i in range(open_pos, len(text)):
        if text[i] == "{":
            depth += 1
        elif text[i] == "}":
            depth -= 1
            if depth == 0:
                return i + 1
    raise GateError("unbalanced braces")


def paren_end(text, open_pos):
    depth = 0
    for i in range(open_pos, len(text)):
        if text[i] == "(":
            depth += 1
        elif text[i] == ")":
            depth -= 1
            if depth == 0:
                return i + 1
    raise GateError("unbalanced parentheses")


def find_class(texts, name):
    """(head, body) of the definition of class or struct `name` in any of `texts`, or None."""
    pattern = re.compile(r"\b(?:class|struct)\s+%s\b([^;{]*)\{" % re.escape(name))
    for text in texts:
        m = pattern.search(text)
        if m:
            open_pos = m.end() - 1
            return m.group(1), text[open_pos + 1 : block_end(text, open_pos) - 1]
    return None


def norm(s):
    s = re.sub(r"\s+", " ", s).strip()
    s = re.sub(r"::\s+", "::", s)
    s = re.sub(r"<\s+", "<", s)
    s = re.sub(r"\s+>", ">", s)
    s = re.sub(r"\(\s+", "(", s)
    s = re.sub(r"\s+\)", ")", s)
    s = re.sub(r"(\w)\s+\(", r"\1(", s)
    s = re.sub(r"\s*,\s*", ", ", s)
    s = re.sub(r"\s*=\s*", " = ", s)
    s = re.sub(r"\s*([&*]+)\s*", r"\1 ", s).strip()
    s = re.sub(r"([&*]) ([),>])", r"\1\2", s)
    return s


def member_declarations(body):
    """[(access, declaration)] of a class body, declarations normalised, inline bodies dropped."""
    result = []
    access = "private"
    current = ""
    i = 0
    while i < len(body):
        c = body[i]
        if c == "{":
            end = block_end(body, i)
            if "(" in current and not re.match(r"\s*(struct|class|enum|union)\b", current):
                result.append((access, _function_head(current)))
                current = ""
            else:
                current += " {}"
            i = end
            continue
        if c == "(":
            end = paren_end(body, i)
            current += body[i:end]
            i = end
            continue
        if c == ";":
            if current.strip():
                result.append((access, norm(current)))
            current = ""
        elif c == ":" and re.fullmatch(r"\s*(public|protected|private)\s*", current):
            access = current.strip()
            current = ""
        else:
            current += c
        i += 1
    return result


def _function_head(decl):
    """A function definition's declaration: up to its parameter list and trailing qualifiers."""
    open_pos = decl.index("(")
    close = paren_end(decl, open_pos)
    tail = re.match(r"(\s*\b(?:const|override|final|noexcept)\b)*", decl[close:]).group(0)
    return norm(decl[:close] + tail)


def split_top_level(s, sep=","):
    parts, depth, current = [], 0, ""
    for c in s:
        if c in "<([":
            depth += 1
        elif c in ">)]":
            depth -= 1
        if c == sep and depth == 0:
            parts.append(current)
            current = ""
        else:
            current += c
    if current.strip():
        parts.append(current)
    return [p.strip() for p in parts]


def function_body(text, qualified_name):
    """Body of the definition of `qualified_name` (e.g. "BpFoo::bar") in text, or None."""
    for m in re.finditer(r"\b%s\s*\(" % re.escape(qualified_name), text):
        close = paren_end(text, m.end() - 1)
        rest = re.match(r"[\w\s:&*,()]*?\{", text[close:])
        if rest and not re.search(r";", text[close : close + rest.end()]):
            open_pos = close + rest.end() - 1
            return text[open_pos + 1 : block_end(text, open_pos) - 1]
    return None


# ---- The model both sides are read into ----------------------------------------------------------


class Method:
    def __init__(self, name, decl):
        self.name = name
        self.decl = decl  # as declared in IFoo, "virtual" and "= 0" removed
        self.args = []  # [direction, type, name, nullable]
        self.ret = None  # [type, nullable] or None for void
        self.code = None
        self.flags = None

    def row(self, iface):
        args = ", ".join("%s %s %s %s" % (d, t, n, "nullable" if nl else "required")
                         for d, t, n, nl in self.args)
        ret = "void" if self.ret is None else "%s %s" % (
            self.ret[0], "nullable" if self.ret[1] else "required")
        code = "?" if self.code is None else self.code
        flags = "?" if self.flags is None else self.flags
        return "%s method %s code=%s flags=%s (%s) -> %s" % (iface, self.name, code, flags, args,
                                                            ret)


class Interface:
    def __init__(self, name):
        self.name = name
        short = name[1:] if re.match(r"I[A-Z]", name) else name
        self.bn, self.bp, self.delegator_name = "Bn" + short, "Bp" + short, name + "Delegator"
        self.descriptor = None
        self.stability = "local"
        self.public = []  # IFoo's public declarations other than its methods
        self.methods = []
        self.stub = {}  # code -> method the stub runs
        self.stub_cases = {}  # method -> the stub's code for it
        self.scope = {}  # transaction constants IFoo declares
        self.bn_public = []
        self.bp_statics = []
        self.delegator = None  # (base clause, [public declarations]) when there is one

    def rows(self):
        n = self.name
        out = ["%s descriptor %s" % (n, self.descriptor), "%s stability %s" % (n, self.stability)]
        out += sorted("%s public: %s" % (n, d) for d in self.public)
        out += [m.row(n) for m in self.methods]
        out += ["%s stub code=%s -> %s" % (n, c, self.stub[c]) for c in sorted(self.stub)]
        out += sorted("%s public: %s" % (self.bn, d) for d in self.bn_public)
        out += sorted("%s static: %s" % (self.bp, d) for d in self.bp_statics)
        if self.delegator is None:
            out.append("%s none" % self.delegator_name)
        else:
            out.append("%s base: %s" % (self.delegator_name, self.delegator[0]))
            out += sorted("%s public: %s" % (self.delegator_name, d) for d in self.delegator[1])
        return out


class Parcelable:
    def __init__(self, name):
        self.name = name
        self.descriptor = None
        self.stability = "local"
        self.fields = []  # [type, name]
        self.read = []  # [name, nullable]
        self.write = []

    def rows(self):
        n = self.name
        out = ["%s descriptor %s" % (n, self.descriptor), "%s stability %s" % (n, self.stability)]
        out += ["%s field %d %s %s" % (n, i, t, f) for i, (t, f) in enumerate(self.fields)]
        for what, order in (("read", self.read), ("write", self.write)):
            out += ["%s %s %d %s %s" % (n, what, i, f, "nullable" if nl else "required")
                    for i, (f, nl) in enumerate(order)]
        return out


# ---- Reading one side (generated or host) --------------------------------------------------------


class Side:
    """The headers and sources of one side, read into Interface and Parcelable objects."""

    def __init__(self, package, header_files, source_files):
        self.package = package
        self.prefix = "::aidl::" + package.replace(".", "::") + "::"
        self.raw = [f.read_text() for f in header_files + source_files]
        self.headers = [mask(f.read_text()) for f in header_files]
        self.sources = [mask(f.read_text()) for f in source_files]
        self.constants = {}
        for text in self.headers + self.sources:
            for name, value in re.findall(r"\b(\w+)\s*=\s*FIRST_CALL_TRANSACTION\s*\+\s*(\d+)",
                                          text):
                self.constants.setdefault(name, set()).add(int(value))

    def short(self, s):
        return s.replace(self.prefix, "")

    def descriptor(self, name):
        for text in self.raw:
            m = re.search(r'\b%s::descriptor\s*=\s*"([^"]*)"' % re.escape(name), text)
            if m:
                return m.group(1)
        return None

    def code(self, expr, scope):
        expr = re.sub(r"\s+", " ", expr).strip().strip("()").strip()
        m = re.fullmatch(r"FIRST_CALL_TRANSACTION \+ (\d+)", expr)
        if m:
            return int(m.group(1))
        ident = expr.split("::")[-1]
        values = scope.get(ident) or self.constants.get(ident, set())
        return next(iter(values)) if len(values) == 1 else None

    def interface(self, name, nullability):
        iface = Interface(name)
        iface.descriptor = self.descriptor(name)
        found = find_class(self.headers, name)
        if found is None:
            raise GateError("class %s not found" % name)
        scope = {}
        for access, decl in member_declarations(found[1]):
            if access != "public":
                continue
            m = re.match(r"(?:virtual )?::ndk::ScopedAStatus (\w+)\((.*)\) = 0$", decl)
            if m:
                iface.methods.append(self._method(m.group(1), m.group(2), nullability))
                continue
            decl = self.short(re.sub(r"^virtual ", "", decl))
            c = re.match(r"static constexpr uint32_t (\w+) = FIRST_CALL_TRANSACTION \+ (\d+)", decl)
            if c:
                scope[c.group(1)] = {int(c.group(2))}
            iface.public.append(decl)
        iface.scope = scope

        for method in iface.methods:
            self._proxy(iface, method)
        self._stub(iface)

        bn = find_class(self.headers, iface.bn)
        if bn is not None:
            iface.bn_public = [self._member(d) for a, d in member_declarations(bn[1])
                               if a == "public"]
        bp = find_class(self.headers, iface.bp)
        if bp is not None:
            iface.bp_statics = [self._member(d) for a, d in member_declarations(bp[1])
                                if a == "public" and d.startswith("static ")]
        delegator = find_class(self.headers, iface.delegator_name)
        if delegator is not None:
            iface.delegator = (norm(delegator[0]).lstrip(": "),
                               [self._member(d) for a, d in member_declarations(delegator[1])
                                if a == "public"])

        create = self._source_function(iface.bn + "::createBinder")
        if create is not None and "AIBinder_markVintfStability" in create:
            iface.stability = "vintf"
        return iface

    def _member(self, decl):
        decl = re.sub(r"^virtual ", "", decl)
        decl = re.sub(r" final override$| override final$", " final", decl)
        decl = re.sub(r" override$", "", decl)
        return self.short(decl)

    def _method(self, name, params, nullability):
        method = Method(name, self.short("::ndk::ScopedAStatus %s(%s)" % (name, params)))
        known = nullability.get(name, ([], False))
        for index, param in enumerate(split_top_level(params) if params else []):
            m = re.fullmatch(r"(.*?)(\w+)", param)
            ptype, pname = self.short(m.group(1).strip()), m.group(2)
            if pname == "_aidl_return":
                method.ret = [ptype.rstrip("*").strip(), known[1]]
                continue
            if ptype.endswith("*"):
                direction = "out" if pname.startswith("out_") else "inout"
                ptype = ptype[:-1].strip()
            else:
                direction = "in"
                ptype = re.sub(r"^const |&$", "", ptype).strip()
            pname = re.sub(r"^(in|out)_", "", pname)
            nullable = known[0][index] if index < len(known[0]) else False
            method.args.append([direction, ptype, pname, nullable])
        return method

    def _source_function(self, qualified_name):
        for text in self.sources:
            body = function_body(text, qualified_name)
            if body is not None:
                return body
        return None

    def _proxy(self, iface, method):
        body = self._source_function("%s::%s" % (iface.bp, method.name))
        if body is None:
            return
        m = (re.search(r"AIBinder_transact\(\s*asBinder\(\)\.get\(\),\s*(.+?),\s*\w+\.getR\(\),"
                       r"\s*\w+\.getR\(\),\s*(.+?)\);", body, re.S)
             or re.search(r"\btransact<\w+>\(\s*asBinder\(\),\s*([^,]+),\s*([^,]+),", body))
        if m is None:
            return
        method.code = self.code(m.group(1), iface.scope)
        flags = sorted(f.strip() for f in m.group(2).split("|") if f.strip() not in ("", "0"))
        method.flags = "|".join(flags) or "0"

    def _stub(self, iface):
        # The stub is the function registered with the class for this descriptor.
        for text in self.sources:
            m = re.search(r"defineClass\(\s*(?:\w+::)*%s::descriptor\s*,\s*(\w+)\s*\)"
                          % re.escape(iface.name), text)
            if m is None:
                continue
            body = function_body(text, m.group(1))
            if body is None:
                raise GateError("stub %s of %s not found" % (m.group(1), iface.name))
            cases = list(re.finditer(r"\bcase\s+(.*?)\s*:\s*\{", body, re.S))
            for i, case in enumerate(cases):
                end = cases[i + 1].start() if i + 1 < len(cases) else len(body)
                call = re.search(r"(?:_aidl_impl|\bimpl)->(\w+)\(", body[case.end() : end])
                code = self.code(case.group(1), iface.scope)
                iface.stub["?" if code is None else code] = call.group(1) if call else "?"
                if call:
                    iface.stub_cases[call.group(1)] = body[case.end() : end]
            return
        raise GateError("no class registration found for %s" % iface.name)

    def parcelable(self, name):
        parcel = Parcelable(name)
        parcel.descriptor = self.descriptor(name)
        found = find_class(self.headers, name)
        if found is None:
            raise GateError("class %s not found" % name)
        for access, decl in member_declarations(found[1]):
            if "_aidl_stability" in decl and "STABILITY_VINTF" in decl:
                parcel.stability = "vintf"
            if access != "public" or "(" in decl or re.match(r"(static|typedef|using|friend|"
                                                             r"struct|class|enum)\b", decl):
                continue
            decl = re.sub(r" = .*$|\{\}$", "", decl).strip()
            m = re.fullmatch(r"(.*?)(\w+)", decl)
            parcel.fields.append([self.short(m.group(1).strip()), m.group(2)])
        names = {f for _, f in parcel.fields}
        for what, order in (("readFromParcel", parcel.read), ("writeToParcel", parcel.write)):
            body = self._source_function("%s::%s" % (name, what)) or ""
            for statement in body.split(";"):
                used = [w for w in re.findall(r"\b\w+\b", statement) if w in names]
                for field in used:
                    if field not in [f for f, _ in order]:
                        order.append([field, "ullable" in statement])
        return parcel


class HostSide(Side):
    """The host library, whose nullability shows in its types and parcel calls."""

    def interface(self, name, nullability):
        # Nullability is read from the code, not taken from the API dump.
        iface = super().interface(name, {})
        for method in iface.methods:
            stub_case = iface.stub_cases.get(method.name, "")
            for arg in method.args:
                arg[3] = arg[1].startswith("std::optional<") or bool(re.search(
                    r"readNullableData\([^;]*\bin_%s\b" % arg[2], stub_case))
            if method.ret is not None:
                proxy = self._source_function("%s::%s" % (iface.bp, method.name)) or ""
                method.ret[1] = method.ret[0].startswith("std::optional<") or bool(
                    re.search(r"readNullableData\([^;]*\b_aidl_return\b", proxy))
        return iface



# ---- The generated side --------------------------------------------------------------------------


def run(cmd):
    try:
        return subprocess.run(cmd, capture_output=True, text=True)
    except OSError as e:
        raise GateError("cannot run %s: %s" % (cmd[0], e))


def strip_annotation(files, annotation, annotated):
    pattern = re.compile(r"@%s\b(\s*\([^)]*\))?" % re.escape(annotation))
    for f in files:
        text = f.read_text()
        for m in pattern.finditer(text):
            decl = re.compile(r"\b(?:interface|parcelable|enum|union)\s+(\w+)")
            target = decl.search(text, m.end())
            if target:
                annotated.setdefault(target.group(1), set()).add(annotation)
        f.write_text(pattern.sub("", text))


def compile_aidl(compiler, aidl_dir, work):
    src = work / "aidl"
    shutil.copytree(aidl_dir, src)
    files = sorted(src.rglob("*.aidl"))
    if not files:
        raise GateError("no .aidl files under %s" % aidl_dir)
    annotated = {}  # type name -> annotations stripped from it
    stripped = set()
    while True:
        out, hdr = work / "out", work / "include"
        shutil.rmtree(out, ignore_errors=True)
        shutil.rmtree(hdr, ignore_errors=True)
        result = run([compiler, "--lang=ndk", "--structured", "--version=%d" % INTERFACE_VERSION,
                      "-I", str(src), "-o", str(out), "-h", str(hdr)] + [str(f) for f in files])
        if result.returncode == 0:
            break
        # This compiler reports the first annotation it does not know, then may crash: the message
        # is what counts, not the exit status.
        m = re.search(r"'(\w+)' is not a recognized annotation", result.stderr)
        if m and m.group(1) in STRIPPED_ANNOTATIONS and m.group(1) not in stripped:
            strip_annotation(files, m.group(1), annotated)
            stripped.add(m.group(1))
            continue
        hint = ""
        if m:
            hint = ("\nIf only this compiler's age keeps it from knowing @%s, list it in "
                    "STRIPPED_ANNOTATIONS in %s with what the check does instead." % (
                        m.group(1), Path(__file__).relative_to(ROOT)))
        raise GateError("%s failed on %s (status %d):\n%s%s" % (
            compiler, aidl_dir, result.returncode, result.stderr.replace(str(src), "aidl"), hint))
    api = work / "api"
    result = run([compiler, "--dumpapi", "--structured", "--out=" + str(api), "-I", str(src)]
                 + [str(f) for f in files])
    if result.returncode != 0:
        raise GateError("%s --dumpapi failed:\n%s" % (compiler, result.stderr))
    return hdr, out, api, annotated


def read_api(api_dir):
    """The compiler's normalised view of aidl/: package, and per type its kind and nullability."""
    package, types = None, {}
    for f in sorted(api_dir.rglob("*.aidl")):
        text = re.sub(r"//[^\n]*|/\*.*?\*/", "", f.read_text(), flags=re.S)
        m = re.search(r"\bpackage\s+([\w.]+)\s*;", text)
        if m:
            package = m.group(1)
        for d in re.finditer(r"\b(interface|parcelable)\s+(\w+)\s*\{(.*?)\}", text, re.S):
            kind, name, body = d.groups()
            entries = {}
            for item in (s.strip() for s in body.split(";")):
                if not item or item.startswith("const "):
                    continue
                if kind == "interface":
                    mm = re.fullmatch(r"(.*?)\b(\w+)\s*\((.*)\)(?:\s*=\s*\d+)?", item, re.S)
                    if mm is None:
                        continue
                    args = [("@nullable" in a) for a in split_top_level(mm.group(3))]
                    entries[mm.group(2)] = (args, "@nullable" in mm.group(1))
                else:
                    mm = re.fullmatch(r"(.*?)\b(\w+)\s*(?:=.*)?", item, re.S)
                    if mm:
                        entries[mm.group(2)] = "@nullable" in mm.group(1)
            types[name] = (kind, entries)
    if package is None or not types:
        raise GateError("the compiler's API dump of aidl/ is empty")
    return package, types


# ---- Differences that only the compiler's age explains -------------------------------------------


def _add_hash(iface):
    iface.public.append('static inline const std::string hash = "..."')
    method = Method("getInterfaceHash", "::ndk::ScopedAStatus getInterfaceHash(std::string* "
                    "_aidl_return)")
    method.ret, method.code, method.flags = ["std::string", False], GET_INTERFACE_HASH_CODE, "0"
    iface.methods.append(method)
    iface.stub[GET_INTERFACE_HASH_CODE] = "getInterfaceHash"
    iface.bn_public.append(method.decl + " final")


def _add_transaction_constants(iface):
    for m in iface.methods:
        if m.code is not None and m.code < GET_INTERFACE_HASH_CODE:
            iface.public.append("static constexpr uint32_t TRANSACTION_%s = "
                                "FIRST_CALL_TRANSACTION + %d" % (m.name, m.code))


def _set_default_impl_by_reference(iface):
    old = "static bool setDefaultImpl(std::shared_ptr<%s> impl)" % iface.name
    new = "static bool setDefaultImpl(const std::shared_ptr<%s>& impl)" % iface.name
    iface.public = [new if d == old else d for d in iface.public]


def _add_delegator(iface):
    iface.public.append("typedef %s DefaultDelegator" % iface.delegator_name)
    decls = ["explicit %s(const std::shared_ptr<%s>& impl)" % (iface.delegator_name, iface.name)]
    decls += [m.decl for m in iface.methods
              if m.code is not None and m.code < GET_INTERFACE_HASH_CODE]
    iface.delegator = ("public " + iface.bn, decls)


def _add_transaction_log(iface):
    log = ["struct TransactionLog {}", "static std::function<void(const TransactionLog&)> logFunc"]
    iface.bn_public += log
    iface.bp_statics += log[1:]


# (what, why, how its side of the table is brought up to date). Each applies to every interface.
KNOWN_DIFFERENCES = [
    ("interface hash",
     "the compiler predates interface hashes: no IFoo::hash, no getInterfaceHash() and no "
     "meta-transaction %d. The value is not compared: the device build computes it from the "
     "frozen API dump, which this compiler cannot reproduce" % GET_INTERFACE_HASH_CODE,
     _add_hash),
    ("TRANSACTION_ constants",
     "the compiler keeps transaction codes inside the generated .cpp; newer ones also declare "
     "IFoo::TRANSACTION_<method> for each method of the .aidl (never for the meta-transactions). "
     "Their values come from the codes this compiler generates",
     _add_transaction_constants),
    ("setDefaultImpl argument",
     "the compiler takes the default implementation by value; newer ones take a const reference",
     _set_default_impl_by_reference),
    ("DefaultDelegator",
     "the compiler predates IFoo::DefaultDelegator and the IFooDelegator class in BnFoo.h",
     _add_delegator),
    ("TransactionLog",
     "the compiler predates the TransactionLog hook (BnFoo::logFunc, BpFoo::logFunc); it offers "
     "only a Json::Value logger under --log, which the gate does not ask for",
     _add_transaction_log),
]

# Known differences handled while reading rather than by bringing the table up to date.
READ_NOTES = [
    ("@VintfStability", "the compiler rejects it, so it is removed from the copy of aidl/ that "
     "is compiled; " + STRIPPED_ANNOTATIONS["VintfStability"]),
    ("nullability", "the compiler's NDK code reads and writes @nullable and non-null interfaces "
     "alike, so the generated side takes every nullability from the compiler's --dumpapi view "
     "of aidl/; the host side takes it from its types and its parcel calls"),
]


# ---- The comparison ------------------------------------------------------------------------------


def read_types(side, types):
    """(name, kind, what the compiler's API dump says of it, what `side` has of it) per type."""
    for name in sorted(types):
        kind, entries = types[name]
        item = side.interface(name, entries) if kind == "interface" else side.parcelable(name)
        yield name, kind, entries, item


def generated_table(side, types, annotated):
    rows = []
    for name, kind, entries, item in read_types(side, types):
        if kind == "parcelable":
            for field in item.read + item.write:
                field[1] = entries.get(field[0], False)
        if "VintfStability" in annotated.get(name, ()):
            item.stability = "vintf"
        if kind == "interface":
            for _, _, bring_up_to_date in KNOWN_DIFFERENCES:
                bring_up_to_date(item)
        rows += item.rows()
    return rows


def host_table(side, types):
    return [row for _, _, _, item in read_types(side, types) for row in item.rows()]


def files(directory, *patterns):
    return sorted(f for p in patterns for f in Path(directory).rglob(p) if f.is_file())


def main():
    aidl_dir = Path(os.environ.get("AIDL_DIR", ROOT / "aidl"))
    jorv_dir = Path(os.environ.get("JORV_DIR", ROOT / "host" / "jorv"))
    compiler = os.environ.get("AIDL", "aidl")
    if shutil.which(compiler) is None:
        raise GateError("AIDL compiler '%s' not found; scripts/setup.sh installs it" % compiler)

    with tempfile.TemporaryDirectory(prefix="aidl-check.") as tmp:
        hdr, out, api, annotated = compile_aidl(compiler, aidl_dir, Path(tmp))
        package, types = read_api(api)
        generated = Side(package, files(hdr, "*.h"), files(out, "*.cpp"))
        generated_rows = generated_table(generated, types, annotated)

    host = HostSide(package, files(jorv_dir / "include", "*.h"),
                    files(jorv_dir / "src", "*.cpp", "*.h"))
    host_rows = host_table(host, types)

    label_generated = "%s compiled by %s, known differences applied" % (aidl_dir, compiler)
    diff = list(difflib.unified_diff(generated_rows, host_rows, label_generated, str(jorv_dir),
                                     n=2, lineterm=""))
    if diff:
        print("aidl-check: %s does not match %s:" % (jorv_dir, aidl_dir))
        print("\n".join(diff))
        print("\n'-' lines are what the generated code has, '+' lines what the host library has.")
        print("Already allowed for, as differences of the compiler's age:")
        for what, why in [(w, y) for w, y, _ in KNOWN_DIFFERENCES] + READ_NOTES:
            print("  - %s: %s" % (what, why))
        return EXIT_MISMATCH
    print("aidl-check: %s matches %s (%d signature rows)" % (jorv_dir, aidl_dir, len(host_rows)))
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except GateError as e:
        print("aidl-check: %s" % e, file=sys.stderr)
        sys.exit(EXIT_ERROR)
