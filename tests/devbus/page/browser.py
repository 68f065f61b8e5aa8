"""A headless browser that asks nobody but the page."""

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

ARGUMENTS = [
    "--headless=new",
    "--no-sandbox",  # it is root in the network of the test
    "--disable-dev-shm-usage",
    "--disable-gpu",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-default-apps",
    "--disable-sync",
    "--disable-extensions",
    "--no-default-browser-check",
    "--disable-features=Translate,OptimizationHints,MediaRouter",
    "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1, EXCLUDE localhost",
    "--enable-precise-memory-info",
    "--js-flags=--expose-gc",
]


def start(profile, width=1400, height=1000):
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for argument in [*ARGUMENTS, f"--user-data-dir={profile}", f"--window-size={width},{height}"]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    service = Service("/usr/bin/chromedriver", log_path="/dev/null")
    browser = webdriver.Chrome(service=service, options=options)
    browser.set_page_load_timeout(60)
    browser.set_script_timeout(60)
    return browser


def resize(browser, width, height):
    """The size of what is seen, also one that is smaller than any window."""
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})


def set_theme(browser, name):
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
        "features": [{"name": "prefers-color-scheme", "value": name}]})
