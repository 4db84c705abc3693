"""What the checks in a browser share."""
import sys
import time

from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.service import Service

failures = []


def check(is_right, what):
    if not is_right:
        failures.append(what)
        print(f"FAILED: {what}", file=sys.stderr, flush=True)
    return is_right


def wait_for(condition):
    """Until it holds, for some minutes: the machine may be busy."""
    end = time.monotonic() + 120
    while not condition() and time.monotonic() < end:
        time.sleep(0.05)
    return condition()


def start(*words):
    """Headless Chromium, which keeps what its pages say on the console."""
    options = webdriver.ChromeOptions()
    for word in ("headless=new", "no-sandbox", "disable-gpu", "disable-dev-shm-usage", "hide-scrollbars", *words):
        options.add_argument(f"--{word}")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    # A page with changes asks before it is left; here it does not.
    options.set_capability("unhandledPromptBehavior", "accept")
    for attempt in range(3):
        try:
            return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        except WebDriverException as error:  # on a busy machine it may not come up in the time that it has for that
            if attempt == 2:
                raise
            print(f"the browser does not start: {str(error).splitlines()[0]}; once more", file=sys.stderr, flush=True)
