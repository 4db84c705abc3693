// Before anything is drawn, so that no wrong colours flash up.
{
    let theme = null;
    try {
        theme = JSON.parse(localStorage.getItem("kaltor-studio-theme"));
    } catch {
        // The system's colours, then.
    }
    document.documentElement.dataset.theme = theme ?? (matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light");
}
