"""A mixed load for as long as is wanted: pages, searches, files, forms, wrong passwords, bad and slow clients. What the
service needs must be flat: its memory and descriptors in the last quarter are those of the second one.

    soak.py --zuhost PATH --seconds 600
"""

import argparse
import http.client
import os
import pathlib
import re
import socket
import statistics
import sys
import threading
import time
import urllib.parse

from application import Server, expect

CLIENTS = 8
MEMORY_GROWTH = 1.10  # allocators keep what they got; a leak of a page a request grows beyond this in seconds
MORE_DESCRIPTORS = 10


def usage(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(re.search(r"VmRSS:\s+(\d+)", status).group(1)), len(os.listdir(f"/proc/{pid}/fd"))


def client(address, number, until, counts):
    """One client after another, of every kind."""
    host, port = address.split(":")
    cookie, round_number = {}, number

    def ask(connection, method, path, body=None, headers=None):
        connection.request(method, path, body, {**cookie, **(headers or {})})
        answer = connection.getresponse()
        text = answer.read()
        counts[answer.status] = counts.get(answer.status, 0) + 1
        if (set_cookie := answer.getheader("Set-Cookie")):
            cookie["Cookie"] = set_cookie.split(";")[0]
        return answer.status, text.decode(errors="replace")

    while time.monotonic() < until:
        round_number += 1
        with_gzip = {"Accept-Encoding": "gzip"} if round_number % 2 else {}
        connection = http.client.HTTPConnection(host, int(port), timeout=60)
        try:
            for path in ("/orders", f"/orders?page={round_number % 12 + 1}&sort=total", "/orders?q=%D0%81%D0%BB%D0%BA%D0%B8",
                         f"/order?id={round_number % 240 + 1}", "/static/orders.css", "/orders?lang=en", "/nowhere",
                         "/orders?q=%3Cscript", "/orders?" + "&".join(f"p{n}=1" for n in range(600))):
                ask(connection, "GET", path, headers=with_gzip)
            if round_number % 20 == number % 20:
                _, form = ask(connection, "GET", "/signin")
                token = re.search(r'name="form_token" value="([0-9a-zA-Z_.-]+)"', form).group(1)
                fields = {"form_token": token, "user": "admin", "password": "demo-admin" if number % 2 else "wrong"}
                ask(connection, "POST", "/signin", urllib.parse.urlencode(fields),
                    {"Content-Type": "application/x-www-form-urlencoded"})
        except (http.client.HTTPException, OSError):
            # Turned away at the door: what the raw sockets below left behind is still being made for nobody, and the
            # address has as many connections as it may. Knocking on at once is no load but a storm.
            counts["cut off"] = counts.get("cut off", 0) + 1
            time.sleep(0.1)
        finally:
            connection.close()
        with socket.create_connection((host, int(port)), timeout=60) as raw:
            raw.sendall((b"GET /orders HTTP/1.1\r\nHost : x\r\n\r\n", b"POST /signin HTTP/1.1\r\nHost: x\r\nContent-Le",
                         b"\x16\x03\x01", b"GET /orders HTTP/1.1\r\nHost: x\r\n\r\n")[round_number % 4])


def soak(server, seconds):
    address = server.url.removeprefix("http://")
    until = time.monotonic() + seconds
    counts, samples = {}, []
    clients = [threading.Thread(target=client, args=(address, number, until, counts)) for number in range(CLIENTS)]
    for thread in clients:
        thread.start()
    while time.monotonic() < until:
        samples.append(usage(server.process.pid))
        time.sleep(min(1, seconds / 40))
    for thread in clients:
        thread.join()
    quarter = len(samples) // 4
    early, late = samples[quarter:2 * quarter], samples[3 * quarter:]
    memory = [statistics.mean(sample[0] for sample in part) for part in (early, late)]
    files = [statistics.mean(sample[1] for sample in part) for part in (early, late)]
    print(f"soak: {seconds} s, answers {dict(sorted(counts.items(), key=str))}; memory {memory[0]:,.0f} kB, then "
          f"{memory[1]:,.0f}; descriptors {files[0]:.0f}, then {files[1]:.0f}", flush=True)
    expect(memory[1] <= memory[0] * MEMORY_GROWTH, f"memory grows: {memory}")
    expect(files[1] <= files[0] + MORE_DESCRIPTORS, f"descriptors grow: {files}")
    expect(500 not in counts, "no page fails")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--zuhost", required=True)
    parser.add_argument("--seconds", type=float, default=600)
    options = parser.parse_args()
    server = Server(options.zuhost)
    try:
        soak(server, options.seconds)
    finally:
        server.stop()


if __name__ == "__main__":
    sys.exit(main())
