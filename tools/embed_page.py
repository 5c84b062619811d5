#!/usr/bin/env python3
"""Writes web_page.h: the page of --serve with uPlot in it, and the policy that lets a browser run just these scripts.

usage: embed_page.py PAGE UPLOT_FOLDER OUTPUT
"""
import base64
import hashlib
import pathlib
import re
import sys

page, uplot, output = map(pathlib.Path, sys.argv[1:])
text = page.read_text(encoding="utf-8")
text = text.replace("/*uPlot.css*/", (uplot / "dist/uPlot.min.css").read_text(encoding="utf-8"))
text = text.replace("/*uPlot.js*/", (uplot / "dist/uPlot.iife.min.js").read_text(encoding="utf-8"))


def hashes(tag):
    found = re.findall(f"<{tag}>(.*?)</{tag}>", text, re.S)
    return " ".join("'sha256-%s'" % base64.b64encode(hashlib.sha256(one.encode()).digest()).decode() for one in found)


policy = (f"default-src 'none'; script-src {hashes('script')}; style-src {hashes('style')}; connect-src 'self'; "
          "img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'")
# A compiler may limit the length of one literal, so the page is an array of bytes.
data = text.encode()
rows = "\n".join(", ".join(str(byte) for byte in data[i:i + 32]) + "," for i in range(0, len(data), 32))
output.write_text(f"""#pragma once

#include <string_view>

namespace halden::host {{

inline constexpr unsigned char kPageBytes[] = {{
{rows}
}};
inline const std::string_view kPage(reinterpret_cast<const char*>(kPageBytes), sizeof kPageBytes);
inline constexpr char kPagePolicy[] = "{policy}";

}}  // namespace halden::host
""", encoding="utf-8")
