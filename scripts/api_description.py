"""Holds the replies and events of the development host against the description of its API."""

import os
import re

import jsonschema
import yaml

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PREFIX = "/api/v1"


class ApiDescription:
    """Each check raises AssertionError when something is not as it is described."""

    def __init__(self):
        with open(os.path.join(ROOT, "docs", "devhost-api.yaml"), encoding="utf-8") as file:
            document = yaml.safe_load(file)
        self._components = document["components"]
        self._events = self._components["schemas"]["Events"]["properties"]
        self.event_types = set(self._events)
        self._paths = [(re.compile(re.sub(r"\{\w+\}", "[^/]+", path)), operations)
                       for path, operations in document["paths"].items()]

    def check(self, method, path, status, reply):
        """Looks at the reply of a route below the API's prefix."""
        address = PREFIX + path.partition("?")[0]
        where = f"{method} {address}: {status}"
        operations = next((known for pattern, known in self._paths if pattern.fullmatch(address)), {})
        if method.lower() in operations:
            responses = operations[method.lower()]["responses"]
            response = responses.get(str(status)) or responses.get(f"{status // 100}XX")
        else:
            response = self._components["responses"]["Error"] if status in (404, 405) else None
        assert response, f"{where} is not described"
        if "$ref" in response:
            response = self._components["responses"][response["$ref"].rpartition("/")[2]]
        self._hold(where, response["content"]["application/json"]["schema"], reply)

    def check_event(self, kind, data):
        """Looks at an event of the stream."""
        assert kind in self._events, f"the event {kind} is not described"
        self._hold(f"event {kind}", self._events[kind], data)

    def _hold(self, where, schema, value):
        try:
            jsonschema.Draft202012Validator({**schema, "components": self._components}).validate(value)
        except jsonschema.ValidationError as error:
            raise AssertionError(f"{where}: {error.message} at {error.json_path}") from error
