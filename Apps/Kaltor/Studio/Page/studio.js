const session = await (await fetch("api/session")).json();
const answer = await fetch("api/plan", {method: "POST", headers: {"Content-Type": "application/json"}, body: JSON.stringify(session.document)});
const plan = await answer.json();
if (answer.ok) {
    document.getElementById("picture").src = `api/plan/${plan.plan}/frame/0`;
} else {
    document.getElementById("message").textContent = plan.error;
}
