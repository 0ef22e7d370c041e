"""Headless Chromium for the web page's end-to-end test: the browser, its screenshots at desktop
and phone width, and waits for a view."""
import base64

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

WIDTHS = {"desktop": (1280, False), "phone": (390, True)}


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                 "--window-size=1280,900", "--lang=en-US"):
        options.add_argument(flag)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def shoot(driver, directory, screen):
    """The whole page of SCREEN at each width, as DIRECTORY/SCREEN-WIDTHNAME.png."""
    for width_name, (width, mobile) in WIDTHS.items():
        driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                               {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": mobile})
        height = min(driver.execute_script("return document.documentElement.scrollHeight"), 6000)
        shot = driver.execute_cdp_cmd("Page.captureScreenshot", {
            "captureBeyondViewport": True,
            "clip": {"x": 0, "y": 0, "width": width, "height": height, "scale": 1}})
        (directory / f"{screen}-{width_name}.png").write_bytes(base64.b64decode(shot["data"]))
    driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


def heading(driver, text, timeout=10):
    """Waits for the view whose h1 starts with TEXT; returns the h1."""
    return WebDriverWait(driver, timeout, ignored_exceptions=(StaleElementReferenceException,)).until(
        lambda d: next((h for h in d.find_elements(By.TAG_NAME, "h1") if h.text.startswith(text)), None))


def label_of(driver, element):
    labels = driver.find_elements(By.CSS_SELECTOR, f"label[for='{element.get_attribute('id')}']")
    return labels[0].get_attribute("textContent") if labels else ""
