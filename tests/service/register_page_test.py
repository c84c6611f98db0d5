#!/usr/bin/env python3
"""The sign-up page in headless Chromium: every failure message, a successful
sign-up, then a sign-in with the new account through the API. Chromium
trusts only the service's own key (by its SPKI hash); nothing leaves the
loopback interface."""

import argparse
import base64
import hashlib
import json
import os
import signal
import ssl
import subprocess
import sys
import tempfile
import urllib.parse
import urllib.request

from cryptography import x509
from cryptography.hazmat.primitives import serialization
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.common.exceptions import StaleElementReferenceException, WebDriverException
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait


def spki_hash(cert_path):
    with open(cert_path, "rb") as f:
        cert = x509.load_pem_x509_certificate(f.read())
    spki = cert.public_key().public_bytes(serialization.Encoding.DER,
                                          serialization.PublicFormat.SubjectPublicKeyInfo)
    return base64.b64encode(hashlib.sha256(spki).digest()).decode()


def start_service(binary, data_dir, log):
    process = subprocess.Popen([binary, "serve", "--data", data_dir, "--listen", "127.0.0.1:0"],
                               stdout=subprocess.PIPE, stderr=log, text=True)
    line = process.stdout.readline().strip()
    prefix = "listening on "
    if not line.startswith(prefix):
        process.kill()
        raise RuntimeError("the service did not start: %r" % line)
    return process, line[len(prefix):]


def browser(profile_dir, cert_path):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 "--disable-dev-shm-usage", "--user-data-dir=" + profile_dir, "--window-size=900,1000",
                 "--lang=zh-CN", "--ignore-certificate-errors-spki-list=" + spki_hash(cert_path)]:
        options.add_argument(flag)
    return webdriver.Chrome(service=Service(executable_path="/usr/bin/chromedriver"), options=options)


def submit(driver, base, email, password, again):
    driver.get(base + "/register")
    driver.find_element(By.ID, "email").clear()
    driver.find_element(By.ID, "email").send_keys(email)
    driver.find_element(By.ID, "password").send_keys(password)
    driver.find_element(By.ID, "password2").send_keys(again)
    button = driver.find_element(By.ID, "submit")
    button.click()
    # The click returns before the answer page is there: wait for the old
    # page to go.
    WebDriverWait(driver, 60).until(lambda _: gone(button))


def gone(element):
    """True once element's page has been replaced. While the new page comes
    in, ChromeDriver may answer for an old node with an unknown error that
    says so instead of a stale element."""
    try:
        element.is_enabled()
        return False
    except StaleElementReferenceException:
        return True
    except WebDriverException as error:
        if "does not belong to the document" in str(error):
            return True
        raise


def message(driver):
    found = driver.find_elements(By.ID, "message")
    return found[0].text if found else ""


def api_post(base, cert_path, path, fields):
    context = ssl.create_default_context(cafile=cert_path)
    body = urllib.parse.urlencode(fields, quote_via=urllib.parse.quote).encode()
    request = urllib.request.Request(base + path, data=body, method="POST",
                                     headers={"Content-Type": "application/x-www-form-urlencoded"})
    with urllib.request.urlopen(request, context=context, timeout=30) as answer:
        return json.loads(answer.read())


def check(condition, what):
    if not condition:
        raise AssertionError(what)
    print("ok:", what)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--service", required=True)
    parser.add_argument("--screenshot", required=True)
    args = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="lumo-register-") as work:
        data_dir = os.path.join(work, "data")
        cert_path = os.path.join(data_dir, "tls", "cert.pem")
        with open(os.path.join(work, "service.log"), "w") as log:
            process, base = start_service(args.service, data_dir, log)
            driver = None
            try:
                driver = browser(os.path.join(work, "profile"), cert_path)
                driver.get(base + "/register")
                check("注册" in driver.title, "the page opens over verified HTTPS: " + driver.title)

                failures = [
                    ("not-an-address", "long enough", "long enough", "邮箱地址无效"),
                    ("new@example.com", "short", "short", "密码至少需要 8 个字符"),
                    ("new@example.com", "new@example.com", "new@example.com", "密码不能与邮箱相同"),
                    ("new@example.com", "long enough", "long enougH", "两次输入的密码不一致"),
                ]
                for email, password, again, expected in failures:
                    submit(driver, base, email, password, again)
                    shown = message(driver)
                    check(expected in shown, "failure message %r shown for %s" % (expected, email))
                    check(driver.find_element(By.ID, "email").get_attribute("value") == email,
                          "the e-mail stays filled in")

                submit(driver, base, "new@example.com", "long enough", "long enough")
                check("注册成功" in driver.find_element(By.ID, "done").text, "the account is created")

                submit(driver, base, "new@example.com", "long enough", "long enough")
                check("该邮箱已注册" in message(driver), "a second sign-up with the address is refused")
                driver.save_screenshot(args.screenshot)
                print("screenshot:", args.screenshot)

                login = api_post(base, cert_path, "/lumo/user/login/login",
                                 {"email": "new@example.com", "password": "long enough"})
                check(login["code"] == 200 and len(login["model"]["token"]) == 64,
                      "the new account signs in through the API")
                checked = api_post(base, cert_path, "/lumo/user/token/check",
                                   {"token": login["model"]["token"], "platform": "macosx"})
                check(checked["code"] == 200, "its token checks")
            finally:
                if driver is not None:
                    driver.quit()
                process.send_signal(signal.SIGTERM)
                code = process.wait(timeout=60)
            check(code == 0, "the service stops cleanly")
    return 0


if __name__ == "__main__":
    sys.exit(main())
