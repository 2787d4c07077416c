#!/usr/bin/env python3
"""Stress inputs for the propqos tool, written to standard output:

  fanout        2,000 profiles deriving from one base that holds 60 unknown names
  fanout-typos  the same, each derived profile adding one of 7 misspelt names
  chain         a 400-deep chain of profiles, each adding an unknown name
  chain-known   a 400-deep chain whose names are all known
  oneline       about 3 MB on one line, a secret and an unknown name per profile
  bigchains [N] N chains (default 300) of 100 profiles each, two elements per profile

Deterministic: the same arguments give the same bytes.
"""
import sys

def element(name, value, propagate=False):
    return ("          <element>\n            <name>%s</name>\n            <value>%s</value>\n%s"
            "          </element>\n") % (name, value,
            "            <propagate>true</propagate>\n" if propagate else "")

def profile(name, base, elements, entity="domain_participant_qos"):
    b = ' base_name="%s"' % base if base else ""
    return ('    <qos_profile name="%s"%s>\n      <%s>\n        <property>\n        <value>\n%s'
            '        </value>\n        </property>\n      </%s>\n    </qos_profile>\n') % (
            name, b, entity, "".join(elements), entity)

def dds(body):
    return '<?xml version="1.0"?>\n<dds>\n  <qos_library name="L">\n%s  </qos_library>\n</dds>\n' % body

def fanout(typos=False):
    base = [element("dds.participant.unknown_%d" % i, str(i)) for i in range(60)]
    out = [profile("Base", "", base)]
    for i in range(2000):
        own = [element("dds.participant.index", str(i % 100))]
        if typos:
            own.append(element("dds.participant.derived_typo_%d" % (i % 7), "x"))
        out.append(profile("D%d" % i, "Base", own))
    return dds("".join(out))

def chain(depth=400):
    out = []
    for i in range(depth):
        out.append(profile("C%d" % i, "C%d" % (i - 1) if i else "",
                           [element("dds.participant.level_%d" % i, str(i)),
                            element("dds.transport.UDPv4.builtin.socket.send_buffer_size", str(i))]))
    return dds("".join(out))

def chain_known(depth=400):
    names = ["dds.transport.UDPv4.builtin.socket.send_buffer_size",
             "dds.transport.UDPv4.builtin.socket.receive_buffer_size",
             "dds.transport.UDPv4.builtin.max_message_size", "dds.participant.index",
             "dds.participant.domain_tag", "dds.transport.UDPv4.builtin.multicast.ttl"]
    out = []
    for i in range(depth):
        out.append(profile("C%d" % i, "C%d" % (i - 1) if i else "",
                           [element(names[i % len(names)], str(i)),
                            element(names[(i + 3) % len(names)], str(i))]))
    return dds("".join(out))

def one_line(size=3 * 1024 * 1024):
    parts, n, i = [], 0, 0
    while n < size:
        p = ('<qos_profile name="P%d"><domain_participant_qos><property><value>'
             '<element><name>dds.sec.auth.password</name><value>secret%d</value></element>'
             '<element><name>dds.participant.index</name><value>%d</value></element>'
             '<element><name>dds.participant.unknwn_%d</name><value>v</value></element>'
             '</value></property></domain_participant_qos></qos_profile>') % (i, i, i % 100, i % 50)
        parts.append(p); n += len(p); i += 1
    return '<dds><qos_library name="L">' + "".join(parts) + '</qos_library></dds>'

def big_chains(chains, depth=100):
    out = []
    for c in range(chains):
        for d in range(depth):
            out.append(profile("K%d_%d" % (c, d), "K%d_%d" % (c, d - 1) if d else "",
                               [element("dds.participant.chain_%d" % d, str(c)),
                                element("dds.transport.UDPv4.builtin.socket.send_buffer_size", str(d))]))
    return dds("".join(out))

kind = sys.argv[1]
text = {"fanout": fanout, "fanout-typos": lambda: fanout(True), "chain": chain, "chain-known": chain_known, "oneline": one_line,
        "bigchains": lambda: big_chains(int(sys.argv[2]) if len(sys.argv) > 2 else 300)}[kind]()
sys.stdout.write(text)
